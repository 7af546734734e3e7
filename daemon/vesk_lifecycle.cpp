#include "daemon/vesk_lifecycle.h"

#include <unistd.h>

#include "platform/runctl.h"
#include "store/vesk_log.h"

void vesk_sigterm_handler(int signo) {
  VESK_ERROR("ERROR: %s. signo %d\n", "vesk_sigterm_handler", signo);
  _exit(VESK_EXIT_SIGTERM);
}

uint32_t runctlcb_switchover(uint32_t context) {
  runctl_switchover_done(context, 0);
  return 0;
}
