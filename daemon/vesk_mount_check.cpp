#include "daemon/vesk_mount_check.h"

#include <sys/stat.h>

#include "daemon/vesk_flash_control.h"
#include "platform/program.h"
#include "store/vesk_log.h"

uint32_t mount_check_pending = 1;
uint32_t issu_seen;

void vesk_check_issu_mount(void) {
  if (mount_check_pending == 0) return;
  struct stat st;
  if (stat("/vamo-upgrade/vamo.bin", &st) == 0) {
    issu_seen = 1;
    return;
  }
  if (issu_seen == 1) {
    issu_seen = 0;
    VESK_TRACE("TRACE:Left ISSU, start to mount vesk\n");
    execute_program_and_let_go(VESK_MOUNT_PROGRAM, nullptr);
  }
  mount_check_pending = 0;
}
