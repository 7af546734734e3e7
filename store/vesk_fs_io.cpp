#include "store/vesk_fs_io.h"

#include <unistd.h>

#include <cerrno>

#include "base/vesk_errno.h"
#include "store/vesk_flash.h"

namespace {

// A short count that is no failure leaves errno as an earlier call set it; it is looked at all the
// same, so a short read soon after an I/O error, at the end of a file for instance, remounts again.
void remount_after_io_error(int32_t count, uint32_t len) {
  if (count >= static_cast<int32_t>(len) || errno != EIO) return;
  const vesk::errno_keeper keeper;
  vesk_remount_fs();
}

}  // namespace

bool vesk::seek_to(int32_t fd, uint32_t offset) {
  return lseek(fd, static_cast<int32_t>(offset), SEEK_SET) >= 0;
}

int32_t vesk_read_fs(int32_t fd, void *buf, uint32_t len) {
  const int32_t count = static_cast<int32_t>(read(fd, buf, len));
  remount_after_io_error(count, len);
  return count;
}

int32_t vesk_write_fs(int32_t fd, const void *buf, uint32_t len) {
  const int32_t count = static_cast<int32_t>(write(fd, buf, len));
  remount_after_io_error(count, len);
  return count;
}
