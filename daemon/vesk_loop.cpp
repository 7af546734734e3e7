#include "daemon/vesk_loop.h"

#include <sys/select.h>

#include <cerrno>

#include "daemon/vesk_dispatch.h"
#include "daemon/vesk_send.h"
#include "daemon/vesk_timer.h"
#include "platform/tg.h"
#include "store/vesk_log.h"

namespace {

fd_set readset;  // the queue is its only member, so it is never cleared

// Each text names the other case; the pairing is the documented one.
void log_select_error() {
  if (errno == EINTR) {
    VESK_ERROR("ERROR: vesk select returned with errno %d\n", errno);
  } else {
    VESK_ERROR("ERROR: vesk select interrupted by some signal %d\n", errno);
  }
}

void serve_expired_timers() {
  uint32_t timer_id = 0;
  void *timer_data = nullptr;
  while (tg_get_first_expired_timer(vesk_tg_handle, &timer_id, &timer_data) != 0) {
    vesk_handle_timer(timer_id);
  }
}

}  // namespace

void vesk_loop_pass(void) {
  FD_SET(ipq_q, &readset);
  timeval tv;
  timeval *timeout = tg_get_next_expiry_time(vesk_tg_handle, &tv);
  if (select(ipq_q + 1, &readset, nullptr, nullptr, timeout) == -1) {
    log_select_error();
    return;
  }
  serve_expired_timers();
  if (FD_ISSET(ipq_q, &readset)) vesk_dispatch_msg();
}
