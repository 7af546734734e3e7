#include "tests/flash/listener.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstdio>
#include <cstring>

namespace vesk::test {

listener::listener() : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, "/run/vesk/listeners/test");
  unlink(address.sun_path);
  if (bind(fd_.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
    std::perror(address.sun_path);
  }
}

}  // namespace vesk::test
