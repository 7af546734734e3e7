#include "host/vesk_run_dir.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "protocol/vesk_wire.h"

namespace vesk {

const char *run_dir() {
  const char *dir = std::getenv("VESK_RUN_DIR");
  return dir != nullptr && dir[0] != '\0' ? dir : VESK_RUN_DIR_DEFAULT;
}

bool run_dir_address(const char *name, sockaddr_un &address) {
  address = {};
  address.sun_family = AF_UNIX;
  const int length =
      std::snprintf(address.sun_path, sizeof address.sun_path, "%s/%s", run_dir(), name);
  if (length > 0 && static_cast<size_t>(length) < sizeof address.sun_path) return true;
  errno = ENAMETOOLONG;
  return false;
}

}  // namespace vesk
