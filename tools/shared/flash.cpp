#include "tools/shared/flash.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>

#include "base/vesk_failure.h"

namespace vesk::shared {
namespace {

// A bind mount has the device of what it shows, so only the kernel can tell. One that is too old
// for that leaves the comparison with the directory above.
bool is_mount_point(const char *directory) {
  struct statx status {};
  if (statx(AT_FDCWD, directory, AT_NO_AUTOMOUNT, STATX_BASIC_STATS, &status) == 0 &&
      (status.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) != 0) {
    return (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
  }
  struct stat here = {}, above = {};
  const std::string parent = std::string(directory) + "/..";
  return stat(directory, &here) == 0 && stat(parent.c_str(), &above) == 0 &&
         here.st_dev != above.st_dev;
}

}  // namespace

const char *marker_path() {
  return VESK_MOUNT_MARKER;
}

bool is_marked_mounted() {
  struct stat status {};
  return stat(VESK_MOUNT_MARKER, &status) == 0;
}

file_system file_system_of(const char *directory) {
  struct statvfs status {};
  if (statvfs(directory, &status) != 0) return {errno_text(errno), false, 0, 0};
  return {"", is_mount_point(directory), uint64_t{status.f_blocks} * status.f_frsize,
          uint64_t{status.f_bavail} * status.f_frsize};
}

}  // namespace vesk::shared
