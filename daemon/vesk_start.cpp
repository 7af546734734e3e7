#include "daemon/vesk_start.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "daemon/vesk_debug.h"
#include "daemon/vesk_lifecycle.h"
#include "daemon/vesk_send.h"
#include "daemon/vesk_timer.h"
#include "format/vesk_catalogue.h"
#include "format/vesk_format.h"
#include "platform/card.h"
#include "platform/ipq.h"
#include "platform/program.h"
#include "platform/runctl.h"
#include "platform/tg.h"
#include "protocol/vesk_messages.h"
#include "recovery/vesk_validate.h"
#include "store/vesk_flash.h"
#include "store/vesk_log.h"
#include "store/vesk_state.h"

uint32_t vesk_restarted;
uint32_t vesk_ctrl;

namespace {

constexpr std::array<uint32_t, 6> bind_block = {1, 1, 400, VESK_OWN_UUID, 0, 15};
constexpr std::array<uint32_t, 2> tick_interval = {5, 0};  // seconds, sub-second units
constexpr char old_log_dir[] = "/mnt/qvd/vesk/";

// Children that nobody waits for leave no zombies: SIGCHLD is ignored.
int32_t set_up_signals() {
  struct sigaction action {};
  action.sa_handler = vesk_sigterm_handler;
  sigemptyset(&action.sa_mask);
  if (sigaction(SIGTERM, &action, nullptr) != 0) {
    VESK_ERROR("ERROR: Failed sigaction for signal SIGTERM\n");
    return VESK_EXIT_SIGNAL_HANDLER;
  }
  signal(SIGCHLD, SIG_IGN);
  VESK_TRACE("TRACE:Registered Signal Handlers.\n");
  return 0;
}

int32_t bind_queue() {
  ipq_q = ipq_bind(1, VESK_ACCESS_POINT, bind_block.data(), VESK_DISPLAY_NAME);
  if (ipq_q < 0) {
    VESK_ERROR("ERROR: Failed to bind IPQ SAP.\n");
    return VESK_EXIT_BIND;
  }
  VESK_TRACE("TRACE:Ipq Bind Done Queue %d.\n", ipq_q);
  return 0;
}

void register_with_system_manager() {
  vesk_sys_state = runctl_handshake(ipq_q, VESK_OWN_UUID);
  VESK_TRACE("TRACE:runctl handshake done.\n");
  vesk_restarted = runctl_last_pid_get();
  VESK_TRACE("TRACE:Vesk Restarted %d.\n", vesk_restarted);
}

bool create_timer() {
  vesk_tg_handle = tg_create_group("Vesk Timers");
  if (vesk_tg_handle == 0) return false;
  const uint32_t timer = tg_create_timer(vesk_tg_handle, VESK_HEARTBEAT_TIMER, 0, 1);
  if (timer == 0) return false;
  if (tg_start_timer(timer, tick_interval.data()) == 1) return true;
  tg_destroy_timer(timer);
  return false;
}

// The first tick runs at once: the first attempt at UP, and the first heartbeat.
int32_t set_up_timer() {
  if (!create_timer()) {
    VESK_ERROR("ERROR: Failed to create timer group\n");
    return VESK_EXIT_TIMER;
  }
  vesk_handle_timer(VESK_HEARTBEAT_TIMER);
  VESK_TRACE("TRACE:Timer Creation Successful.\n");
  return 0;
}

int32_t find_slot() {
  if (card_get_slot_num(&vesk_module_id) != 0) {
    VESK_ERROR("ERROR: Failed to get card slot num  errno %d\n", errno);
    return VESK_EXIT_SLOT;
  }
  VESK_TRACE("TRACE:Got card slot num %d\n", vesk_module_id);
  return 0;
}

void reset_file_types() {
  vesk_file_state.fill(VESK_LOGGING_ENABLED);
  vesk_file_sanity.fill(VESK_SANITY_CLEAN);
  VESK_TRACE("TRACE:Initialize vesk_file_state data.\n");
}

// Moves the logs of an earlier release, which kept them elsewhere. What cannot be moved stays.
void migrate_old_logs() {
  char command[64];
  std::snprintf(command, sizeof command, "/bin/mv %s* %s", old_log_dir, VESK_LOG_DIR);
  exec_cmd_with_files_print(command, 0, "/dev/null", "/dev/null", 0);
  rmdir(old_log_dir);
  sync();
}

void check_log_dir() {
  struct stat st;
  if (vesk_stat_fs(VESK_LOG_DIR, &st) == 0) {
    if (vesk_stat_fs(old_log_dir, &st) == 0) migrate_old_logs();
  } else if (errno == ENOENT) {
    VESK_ERROR("ERROR: Failed to stat dir %s %d\n", VESK_LOG_DIR, errno);
    vesk_ctrl = 1;
  }
}

}  // namespace

int32_t vesk_start_up(void) {
  if (const int32_t status = set_up_signals(); status != 0) return status;
  if (const int32_t status = bind_queue(); status != 0) return status;
  if (vesk_sup_debug_init() != 0) return VESK_EXIT_DEBUG;
  register_with_system_manager();
  if (const int32_t status = set_up_timer(); status != 0) return status;
  if (const int32_t status = find_slot(); status != 0) return status;
  reset_file_types();
  check_log_dir();
  if (vesk_restarted == 0) {
    vesk_validate_files();  // a restarted daemon trusts the files as they are
  }
  VESK_TRACE("TRACE:Going to infinite loop \n");
  vesk::send_up();  // a second time where the first tick has sent it already
  return 0;
}
