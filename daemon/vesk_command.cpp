#include "daemon/vesk_command.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>

#include "daemon/vesk_send.h"
#include "format/vesk_catalogue.h"
#include "protocol/vesk_messages.h"
#include "store/vesk_flash.h"
#include "store/vesk_log.h"
#include "store/vesk_state.h"

namespace {

// The type is an index that nobody checks; the tables give a stray one their spare slot.
void disable_logging(uint32_t file_type) {
  VESK_TRACE("TRACE:VESK_DISABLE_LOGGING module %d filetype %d\n", vesk_module_id, file_type);
  vesk_file_state[file_type] = VESK_LOGGING_DISABLED;
}

int32_t enable_logging(uint32_t file_type) {
  VESK_TRACE("TRACE:VESK_ENABLE_LOGGING module %d filetype %d\n", vesk_module_id, file_type);
  if (bootflash_failure_flag != 0) {
    VESK_ERROR("ERROR: Cannot enable logging for filetype %d due to bootflash failure.\n",
               file_type);
    return -1;
  }
  vesk_file_state[file_type] = VESK_LOGGING_ENABLED;
  return 0;
}

// Applies the command to one type. `response.result` is the running result of all of them.
int32_t apply_to(uint32_t file_type, vesk_command_response *response) {
  switch (response->command) {
    case VESK_DISABLE_LOGGING:
      disable_logging(file_type);
      return 0;
    case VESK_CLEAR_LOGGING:
      if (vesk_clear_file(static_cast<uint16_t>(file_type)) == -1) response->result = -1;
      VESK_TRACE("TRACE:VESK_CLEAR_LOGGING result %d module %d filetype %d \n", response->result,
                 vesk_module_id, file_type);
      return 0;
    case VESK_ENABLE_LOGGING:
      if (enable_logging(file_type) == 0) return 0;
      response->result = -1;
      return -1;
    default:
      VESK_ERROR("ERROR: req->command is not correct  returning error \n");
      response->result = -1;
      return 0;
  }
}

// Row 0, of which no record can be counted, stays as it is.
void clear_statistics() {
  std::fill(vesk_uuid_stat_table.begin() + 1, vesk_uuid_stat_table.end(), vesk_uuid_stat{});
}

}  // namespace

int32_t vesk_do_vesk_command(ipq_msg *msg) {
  const void *payload = ipq_payload_get(msg);
  if (payload == nullptr) {
    VESK_ERROR("ERROR: vesk_main ipq_payload_get failed\n");
    return -1;
  }
  vesk_command request;
  std::memcpy(&request, payload, sizeof request);
  vesk_command_response response{request.command, request.file_type, 0};
  VESK_TRACE("TRACE:req file type %d\n", request.file_type);

  int32_t result = 0;
  const bool all = request.file_type == 0;
  const uint32_t last = all ? VESK_MAX_FILE_TYPES - 1 : request.file_type;
  for (uint32_t type = request.file_type; type <= last; ++type) {
    if (apply_to(type, &response) != 0) result = -1;
  }
  if (request.command == VESK_CLEAR_LOGGING && response.result == 0) clear_statistics();

  if (vesk_ipq_send_response(&response, sizeof response, msg, nullptr) != 0) {
    VESK_ERROR("ERROR: Failed to snd response to KYTE for IPQ_OPC_VESK_COMMAND\n");
  }
  return result;
}

int32_t vesk_clear_file(uint16_t file_type) {
  const vesk_catalogue_row *row = vesk::find_file(file_type);
  if (row == nullptr) {
    VESK_ERROR("ERROR: couldn't get filename for file type %d", file_type);
    return -1;
  }
  char path[VESK_PATH_SIZE];
  vesk::log_path(*row, path);
  if (bootflash_failure_flag != 0) {
    VESK_ERROR("ERROR: Couldn't clear %s due to bootflash failure.\n", path);
    return -1;
  }
  struct stat st;
  if (vesk_stat_fs(path, &st) != 0) return 0;
  if (!S_ISREG(st.st_mode)) {
    VESK_ERROR("ERROR: %s exists, but not a regular file.", path);
    return -1;
  }
  vesk_remove_file(path);
  return 0;
}
