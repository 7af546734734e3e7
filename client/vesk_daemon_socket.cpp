#include "client/vesk_daemon_socket.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstring>

#include "protocol/vesk_messages.h"
#include "protocol/vesk_run_dir.h"

namespace vesk::client {
namespace {

// Anybody on the machine may write to a socket of ours: only what root or the owner of the access
// point sent counts.
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

}  // namespace

bool locate_daemon_socket(const char *run_dir, sockaddr_un &address) {
  char name[32];
  std::snprintf(name, sizeof name, "%s%u", VESK_WIRE_SAP_PREFIX, unsigned{VESK_ACCESS_POINT});
  return run_dir_address(run_dir, name, address) && run_dir[0] != '\0';
}

ptrdiff_t receive_from_daemon(int fd, std::span<iovec> parts, const sockaddr_un &daemon_socket) {
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];  // for the credentials alone
  msghdr msg{};
  msg.msg_iov = parts.data();
  msg.msg_iovlen = parts.size();
  msg.msg_control = control;
  msg.msg_controllen = sizeof control;
  const ssize_t got = recvmsg(fd, &msg, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
  if (got < 0) return -1;
  const bool cut = (msg.msg_flags & MSG_TRUNC) != 0;
  return !cut && sent_by_daemon(msg, daemon_socket) ? got : 0;
}

}  // namespace vesk::client
