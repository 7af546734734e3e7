// A platform that wants nothing and records nothing, for walks of the daemon that are measured
// alone.
#include <unistd.h>

#include <cstdarg>
#include <string_view>

#include "platform/card.h"
#include "platform/dbgkit.h"
#include "platform/ipq.h"
#include "platform/program.h"
#include "platform/runctl.h"
#include "platform/tg.h"

namespace {

constexpr uint32_t trace_level = 100;

}  // namespace

extern "C" {

const char *dbgkit_dbg_modname;
const void *dbgkit_sys_facility;

int32_t ipq_bind(uint32_t, uint32_t, const void *, const char *) {
  return -1;
}
int32_t ipq_recv(int32_t, ipq_msg **, const void *) {
  return -1;
}
int32_t ipq_send(int32_t, uint32_t, uint32_t, uint32_t, const void *, uint32_t, ipq_msg *,
                 ipq_msg *, uint32_t) {
  return 0;
}
int32_t ipq_drop(int32_t, ipq_msg *) {
  return 0;
}
void *ipq_payload_get(ipq_msg *) {
  return nullptr;
}
uint32_t ipq_opc_get(ipq_msg *) {
  return 0;
}
int32_t ipq_errno_get(int32_t) {
  return 0;
}

uint32_t runctl_handshake(int32_t, uint32_t) {
  return 0;
}
uint32_t runctl_last_pid_get(void) {
  return 0;
}
int32_t runctl_heartbeat(uint32_t) {
  return 0;
}
int32_t runctl_dispatch(ipq_msg *) {
  return 2;
}
int32_t runctl_switchover_done(uint32_t, uint32_t) {
  return 0;
}

// As the daemon runs by default: traces are not wanted, errors go to the history.
int32_t dbgkit_dbg_init(int32_t, const char *, const char *, uint32_t, const char *const *,
                        uint32_t, uint32_t, uint32_t) {
  return 0;
}
int32_t dbgkit_sys_init_helper(int32_t, const char *, const char *, uint32_t, uint32_t, uint32_t,
                               uint32_t) {
  return 0;
}
int32_t dbgkit_hist_init(uint32_t) {
  return 0;
}
int32_t dbgkit_hist_init_for_uuid(uint32_t, uint32_t) {
  return 0;
}
int32_t dbgkit_hist_set_event_subtype(uint32_t, uint32_t, uint32_t) {
  return 0;
}
int32_t dbgkit_hist_event_subtype_check(uint32_t, uint32_t level) {
  return level == trace_level ? 1 : 0;
}
int32_t dbgkit_hist_event(uint32_t, uint32_t, const void *) {
  return 0;
}
int32_t dbgkit_hist_ipq_event(uint32_t, const ipq_msg *, uint32_t, uint32_t) {
  return 0;
}
int32_t dbgkit_chk_int(uint32_t, uint32_t, uint32_t, uint32_t) {
  return 0;
}
void dbgprint(const char *, ...) {}
int32_t dbgkit_process_msg(int32_t, ipq_msg *) {
  return -1;
}

uint32_t tg_create_group(const char *) {
  return 0;
}
uint32_t tg_create_timer(uint32_t, uint32_t, uint32_t, uint32_t) {
  return 0;
}
uint32_t tg_start_timer(uint32_t, const uint32_t *) {
  return 0;
}
uint32_t tg_destroy_timer(uint32_t) {
  return 1;
}
timeval *tg_get_next_expiry_time(uint32_t, timeval *) {
  return nullptr;
}
int32_t tg_get_first_expired_timer(uint32_t, uint32_t *, void **) {
  return 0;
}

int32_t card_get_slot_num(uint8_t *slot) {
  *slot = 1;
  return 0;
}
int32_t execute_program_and_wait(const char *, ...) {
  return 0;
}
int32_t execute_program_and_let_go(const char *program, ...) {
  if (std::string_view(program) != "/bin/rm") return 0;
  std::va_list args;
  va_start(args, program);
  unlink(va_arg(args, const char *));
  va_end(args);
  return 0;
}
int32_t exec_cmd_with_files_print(const char *, int32_t, const char *, const char *, int32_t) {
  return 0;
}

}  // extern "C"
