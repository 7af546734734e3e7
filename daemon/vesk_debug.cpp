#include "daemon/vesk_debug.h"

#include "daemon/vesk_send.h"
#include "platform/dbgkit.h"
#include "store/vesk_log.h"

namespace {

constexpr uint32_t syslog_facility = 1680;
constexpr uint32_t history_size = 16384;
constexpr const char *debug_flags[] = {"trace", "error"};

}  // namespace

const vesk_syslog_facility syslog_fac_LOG_VESK = {VESK_DEBUG_NAME, syslog_facility, 1028};

const vesk_syslog_message syslog_msg_VESK_SUP_EXIT = {
    "VESK_SUP_EXIT", &syslog_fac_LOG_VESK,
    "<<%%%s-%d-VESK_SUP_EXIT>> Persistent Logger encountered an error %d.", 4};

int32_t vesk_sup_debug_init(void) {
  if (dbgkit_dbg_init(ipq_q, VESK_DEBUG_NAME, VESK_DISPLAY_NAME, 2, debug_flags, 0, 0, 0) != 0) {
    return -1;
  }
  dbgkit_sys_facility = &syslog_fac_LOG_VESK;
  if (dbgkit_sys_init_helper(ipq_q, VESK_DEBUG_NAME, VESK_DISPLAY_NAME, syslog_facility, 0, 0, 0) !=
      0) {
    return -1;
  }
  dbgkit_hist_init(history_size);
  dbgkit_hist_init_for_uuid(VESK_HIST_IDENTITY, history_size);
  dbgkit_hist_set_event_subtype(VESK_HIST_EVENT, VESK_LEVEL_ERROR, 1);
  return 0;
}
