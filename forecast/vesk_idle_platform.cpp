// A platform that wants nothing and does nothing, for programs that play a start through: nobody
// hears of it, and no flash is touched. It has what examining and repairing one file call.
#include "platform/dbgkit.h"
#include "store/vesk_flash.h"

extern "C" {

int32_t dbgkit_hist_event_subtype_check(uint32_t, uint32_t) {
  return 1;  // suppressed
}
int32_t dbgkit_hist_event(uint32_t, uint32_t, const void *) {
  return 0;
}
int32_t dbgkit_chk_int(uint32_t, uint32_t, uint32_t, uint32_t) {
  return 0;
}
void dbgprint(const char *, ...) {}

int32_t vesk_remount_fs(void) {
  return 0;
}

}  // extern "C"
