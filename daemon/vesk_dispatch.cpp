#include "daemon/vesk_dispatch.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

#include "daemon/vesk_command.h"
#include "daemon/vesk_config.h"
#include "daemon/vesk_flash_control.h"
#include "daemon/vesk_mount_check.h"
#include "daemon/vesk_request.h"
#include "daemon/vesk_send.h"
#include "format/vesk_catalogue.h"
#include "platform/dbgkit.h"
#include "platform/ipq.h"
#include "platform/runctl.h"
#include "protocol/vesk_messages.h"
#include "recovery/vesk_recover.h"
#include "store/vesk_log.h"
#include "store/vesk_state.h"

namespace {

constexpr std::array<uint32_t, 10> receive_options = {1, 1};

const void *payload_of(ipq_msg *msg) {
  const void *payload = ipq_payload_get(msg);
  if (payload == nullptr) VESK_ERROR("ERROR: vesk_main ipq_payload_get failed\n");
  return payload;
}

int32_t handle_log_record(ipq_msg *msg) {
  const auto *record = static_cast<const vesk_log_req *>(payload_of(msg));
  if (record == nullptr) return 0;
  const int32_t result = vesk_do_vesk(record);
  if (record->sync == VESK_SYNC_ANSWER || record->sync == VESK_SYNC_FLASH) {
    uint32_t stored = result == 0 ? 1 : 0;
    vesk_ipq_send_response(&stored, sizeof stored, msg, nullptr);
  }
  return result;
}

int32_t handle_statistics(ipq_msg *msg) {
  vesk_ipq_send_response(vesk_uuid_stat_table.data(), sizeof vesk_uuid_stat_table, msg, nullptr);
  return 0;
}

int32_t handle_config(ipq_msg *msg) {
  const auto *configs = static_cast<const vesk_module_config *>(payload_of(msg));
  return configs == nullptr ? -1 : vesk::apply_config(configs[vesk_module_id]);
}

// Marks the file type for repair and starts the sweep. The type is an index that nobody checks.
int32_t handle_recover(ipq_msg *msg) {
  const void *payload = payload_of(msg);
  if (payload == nullptr) return 0;
  vesk_recover_request request;
  std::memcpy(&request, payload, sizeof request);
  vesk_file_sanity[request.file_type] =
      request.entries != 0 ? VESK_SANITY_RECOVER_ENTRIES : VESK_SANITY_CORRUPT;
  vesk_recover_corrupted_files();
  return 0;
}

int32_t accept_and_drop(ipq_msg *) {
  return 0;
}

struct route {
  uint32_t opcode;
  void (*announce)();  // traces the arrival before the message is handled; or null
  int32_t (*handle)(ipq_msg *msg);
};

constexpr route routes[] = {
    {IPQ_OPC_VESK_LOG, [] { VESK_TRACE("TRACE:Got an entry update message\n"); },
     handle_log_record},
    {IPQ_OPC_VESK_STATISTICS, [] { VESK_TRACE("TRACE:Got an get statistics message\n"); },
     handle_statistics},
    {IPQ_OPC_VESK_COMMAND, [] { VESK_TRACE("TRACE:Got an VESK Command message\n"); },
     vesk_do_vesk_command},
    {IPQ_OPC_VESK_CONFIG, [] { VESK_TRACE("TRACE:Handle KYTE Config Data\n"); }, handle_config},
    {IPQ_OPC_VESK_RECOVER, [] { VESK_TRACE("TRACE:Handle Recover Corrupt file\n"); },
     handle_recover},
    {IPQ_OPC_VESK_IGNORED_1, nullptr, accept_and_drop},
    {IPQ_OPC_VESK_IGNORED_2, nullptr, accept_and_drop},
    {IPQ_OPC_RUDA_FAIL_NOTICE, nullptr, vesk_ipq_hdlr_ruda_fail_notice},
};

int32_t offer_to_debug_wrapper(ipq_msg *msg, uint32_t opcode) {
  if (dbgkit_process_msg(ipq_q, msg) != 0) {
    VESK_ERROR("ERROR: Unknown message 0x%x. dropping.", opcode);
  }
  return 0;
}

int32_t handle_message(ipq_msg *msg) {
  const uint32_t opcode = ipq_opc_get(msg);
  const auto *found = std::find_if(std::begin(routes), std::end(routes),
                                   [&](const route &r) { return r.opcode == opcode; });
  if (found == std::end(routes)) return offer_to_debug_wrapper(msg, opcode);
  if (found->announce != nullptr) found->announce();
  return found->handle(msg);
}

// Nothing is read, not even for the system manager, while the flash is not mounted.
bool flash_is_mounted() {
  struct stat st;
  return stat(VESK_MOUNT_MARKER, &st) == 0;
}

}  // namespace

int32_t vesk_dispatch_msg(void) {
  ipq_msg *msg = nullptr;
  if (ipq_recv(ipq_q, &msg, receive_options.data()) < 0) {
    const int32_t why = ipq_errno_get(ipq_q);
    VESK_ERROR("ERROR: vesk main ipq_recv failed %d\n", why);
    return -1;
  }
  dbgkit_hist_ipq_event(DBGKIT_MSG_RECEIVED, msg, 0, 0);
  vesk_check_issu_mount();
  if (!flash_is_mounted()) {
    ipq_drop(ipq_q, msg);
    return 0;
  }
  switch (runctl_dispatch(msg)) {
    case RUNCTL_TOOK:
      VESK_TRACE("TRACE:Runctl got the msg, drop\n");
      ipq_drop(ipq_q, msg);
      return 0;
    case RUNCTL_KEEPS:
      VESK_TRACE("TRACE:Runctl got the msg, cannot drop\n");
      return 0;
    default:
      VESK_TRACE("TRACE:Runctl did not handle ipq message\n");
  }
  const int32_t result = handle_message(msg);
  if (ipq_drop(ipq_q, msg) != 0) VESK_ERROR("ERROR: Failed to drop ipq message\n");
  return result;
}
