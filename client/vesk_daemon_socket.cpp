#include "client/vesk_daemon_socket.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstring>

#include "protocol/vesk_messages.h"
#include "protocol/vesk_run_dir.h"

namespace vesk::client {

bool locate_daemon_socket(const char *run_dir, sockaddr_un &address) {
  char name[32];
  std::snprintf(name, sizeof name, "%s%u", VESK_WIRE_SAP_PREFIX, unsigned{VESK_ACCESS_POINT});
  return run_dir_address(run_dir, name, address) && run_dir[0] != '\0';
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
