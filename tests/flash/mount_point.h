// Where the daemon expects its flash.
#pragma once

#include <sys/stat.h>

namespace vesk::test {

inline constexpr char mount_point[] = "/mnt/vesk";
inline constexpr char mount_marker[] = "/kyte_mounted";

// The exit status of a flash that the kernel did not let mount itself.
inline constexpr int no_mount_here = 77;

// Where something is mounted, a directory is on another device than the one above it.
inline bool is_mounted() {
  struct stat here {};
  struct stat above {};
  return stat(mount_point, &here) == 0 && stat("/mnt", &above) == 0 && here.st_dev != above.st_dev;
}

}  // namespace vesk::test
