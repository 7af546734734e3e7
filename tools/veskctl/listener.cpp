#include "tools/veskctl/listener.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iterator>

#include "client/vesk_daemon_socket.h"

namespace vesk::veskctl {

listener::listener(const std::string &run_dir)
    : path_(run_dir + '/' + VESK_WIRE_LISTENERS + "/veskctl-" + std::to_string(getpid())),
      fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  if (!fd_) return;
  bound_ = bind_socket(run_dir);
  if (!bound_) fd_.close();
}

listener::~listener() {
  if (bound_) unlink(path_.c_str());
}

bool listener::bind_socket(const std::string &run_dir) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (!client::locate_daemon_socket(run_dir.c_str(), daemon_socket_) ||
      path_.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return false;
  }
  std::memcpy(address.sun_path, path_.data(), path_.size());
  const int on = 1;
  unlink(path_.c_str());  // left behind by a dead process with our number
  // A daemon that is not root must be able to write to it. Others then can too, which does no harm:
  // the credentials of what arrives are checked.
  return setsockopt(fd_.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) == 0 &&
         bind(fd_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
         chmod(path_.c_str(), 0666) == 0;
}

bool listener::receive(uint32_t &opcode, std::vector<uint8_t> &payload) {
  vesk_wire_header header{};
  payload.resize(VESK_WIRE_MAX_PAYLOAD);
  iovec parts[] = {{&header, sizeof header}, {payload.data(), payload.size()}};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
  msghdr msg{};
  msg.msg_iov = parts;
  msg.msg_iovlen = std::size(parts);
  msg.msg_control = control;
  msg.msg_controllen = sizeof control;
  const ssize_t got = recvmsg(fd_.get(), &msg, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
  if (got < static_cast<ssize_t>(sizeof header) || (msg.msg_flags & MSG_TRUNC) != 0) return false;
  payload.resize(static_cast<size_t>(got) - sizeof header);
  opcode = header.opcode;
  return header.magic == VESK_WIRE_MAGIC && header.version == VESK_WIRE_VERSION &&
         header.length == payload.size() && client::sent_by_daemon(msg, daemon_socket_);
}

}  // namespace vesk::veskctl
