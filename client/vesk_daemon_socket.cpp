#include "client/vesk_daemon_socket.h"

#include <sys/stat.h>

#include <cstddef>
#include <cstdio>
#include <cstring>

#include "protocol/vesk_messages.h"
#include "protocol/vesk_wire.h"

namespace vesk::client {

bool locate_daemon_socket(const char *run_dir, sockaddr_un &address) {
  address = {};
  address.sun_family = AF_UNIX;
  const int length = std::snprintf(address.sun_path, sizeof address.sun_path, "%s/%s%u", run_dir,
                                   VESK_WIRE_SAP_PREFIX, unsigned{VESK_ACCESS_POINT});
  const bool fits = length > 0 && static_cast<size_t>(length) < sizeof address.sun_path;
  return fits && run_dir[0] != '\0';
}

bool sent_by_daemon(const msghdr &msg, const sockaddr_un &daemon_socket) {
  const cmsghdr *control = CMSG_FIRSTHDR(&msg);
  if (control == nullptr || control->cmsg_level != SOL_SOCKET ||
      control->cmsg_type != SCM_CREDENTIALS) {
    return false;
  }
  ucred sender{};
  std::memcpy(&sender, CMSG_DATA(control), sizeof sender);
  struct stat socket_file {};
  return sender.uid == 0 ||
         (stat(daemon_socket.sun_path, &socket_file) == 0 && sender.uid == socket_file.st_uid);
}

}  // namespace vesk::client
