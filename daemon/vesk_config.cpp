#include "daemon/vesk_config.h"

#include "store/vesk_log.h"
#include "store/vesk_state.h"

namespace {

// A type is disabled even while the flash has failed; only enabling is refused.
int32_t enable_type(uint32_t file_type, uint8_t log_enable) {
  VESK_TRACE("TRACE:vesk_config_data[%d].vesk_log_enable[%d] = %d\n", vesk_module_id, file_type,
             log_enable);
  if (log_enable != 1) {
    vesk_file_state[file_type] = VESK_LOGGING_DISABLED;
    return 0;
  }
  if (bootflash_failure_flag != 0) {
    VESK_ERROR("ERROR: Can't enable logging for file type %d due to bootflash failure.\n",
               file_type);
    return -1;
  }
  vesk_file_state[file_type] = VESK_LOGGING_ENABLED;
  return 0;
}

}  // namespace

int32_t vesk::apply_config(const vesk_module_config &config) {
  VESK_TRACE("TRACE:vesk_config_data.vesk_enable = %d\n", config.vesk_enable);
  int32_t result = 0;
  for (uint32_t type = 0; type < VESK_MAX_FILE_TYPES; ++type) {
    VESK_TRACE("TRACE:module %d vesk_file_state[%d] = %d \n", vesk_module_id, type,
               vesk_file_state[type]);
    if (config.vesk_enable != 1) {
      vesk_file_state[type] = VESK_LOGGING_DISABLED;
    } else if (enable_type(type, config.vesk_log_enable[type]) != 0) {
      result = -1;
    }
    VESK_TRACE("TRACE:module %d vesk_file_state[%d] = %d\n", vesk_module_id, type,
               vesk_file_state[type]);
  }
  return result;
}
