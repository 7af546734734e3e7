// The directory in which the sockets lie. In it: "sap-1016", the daemon's access point;
// "listeners/", where each listener binds a datagram socket of any name and gets what the daemon
// sends to all (version 1 headers, no answer expected).
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

inline constexpr char VESK_WIRE_SAP_PREFIX[] = "sap-";
inline constexpr char VESK_WIRE_LISTENERS[] = "listeners";

namespace vesk {

// VESK_RUN_DIR of the environment, unless it is unset or empty; else "/run/vesk".
inline const char *run_dir() {
  const char *named = std::getenv("VESK_RUN_DIR");
  return named != nullptr && named[0] != '\0' ? named : "/run/vesk";
}

// Stores the address of `name` in the directory; false with ENAMETOOLONG when the path does not
// fit. A path made here is terminated.
[[nodiscard]] inline bool run_dir_address(const char *dir, const char *name, sockaddr_un &address) {
  address = {};
  address.sun_family = AF_UNIX;
  const int length = std::snprintf(address.sun_path, sizeof address.sun_path, "%s/%s", dir, name);
  if (length > 0 && static_cast<size_t>(length) < sizeof address.sun_path) return true;
  errno = ENAMETOOLONG;
  return false;
}

}  // namespace vesk
