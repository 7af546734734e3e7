// Datagrams that bring the kernel's attention to more than their bytes.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <string_view>

namespace vesk::test {

// Sends a datagram along with credentials (SCM_CREDENTIALS) or a descriptor (SCM_RIGHTS), without
// waiting; false when it cannot be sent.
template <typename Value>
bool send_along(int fd, const sockaddr_un &to, socklen_t to_length, std::string_view datagram,
                int kind, const Value &value) {
  iovec part = {const_cast<char *>(datagram.data()), datagram.size()};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof value)] = {};
  msghdr message{};
  message.msg_name = const_cast<sockaddr_un *>(&to);
  message.msg_namelen = to_length;
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  cmsghdr *head = CMSG_FIRSTHDR(&message);
  head->cmsg_level = SOL_SOCKET;
  head->cmsg_type = kind;
  head->cmsg_len = CMSG_LEN(sizeof value);
  std::memcpy(CMSG_DATA(head), &value, sizeof value);
  return sendmsg(fd, &message, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

// The same in the name of another user, which only root can do.
inline bool send_as(uid_t uid, int fd, const sockaddr_un &to, socklen_t to_length,
                    std::string_view datagram) {
  const ucred claimed = {getpid(), uid, getgid()};
  return send_along(fd, to, to_length, datagram, SCM_CREDENTIALS, claimed);
}

}  // namespace vesk::test
