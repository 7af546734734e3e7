#include "host/vesk_message.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

namespace vesk {
namespace {

// The daemon holds one message at a time, unless the system manager keeps one. The first free one
// is taken, so the others cost no memory until they are needed.
constexpr size_t message_count = 4;
message messages[message_count];

constexpr ucred nobody = {0, static_cast<uid_t>(-1), static_cast<gid_t>(-1)};

ucred credentials_of(msghdr &arrived) {
  const cmsghdr *control = CMSG_FIRSTHDR(&arrived);
  if (control == nullptr || control->cmsg_level != SOL_SOCKET ||
      control->cmsg_type != SCM_CREDENTIALS) {
    return nobody;
  }
  ucred sender;
  std::memcpy(&sender, CMSG_DATA(control), sizeof sender);
  return sender;
}

void clear_behind(message &msg, size_t size) {
  const size_t came = size < VESK_WIRE_HEADER_SIZE ? 0 : size - VESK_WIRE_HEADER_SIZE;
  const auto written = static_cast<uint32_t>(std::min(came, sizeof msg.payload));
  if (written < msg.written) std::memset(msg.payload + written, 0, msg.written - written);
  msg.written = written;
}

}  // namespace

message *free_message() {
  for (message &msg : messages) {
    if (!msg.in_use) return &msg;
  }
  return nullptr;
}

message *find_message(const ipq_msg *reference) {
  for (message &msg : messages) {
    if (&msg.reference == reference && msg.in_use) return &msg;
  }
  return nullptr;
}

void make_empty(message &msg) {
  msg.header = {};
  msg.address_length = 0;
  msg.served = true;
}

ptrdiff_t take_datagram(int32_t fd, message &msg) {
  msg.header = {};
  msg.address = {};
  msg.answered = false;
  msg.served = false;
  iovec parts[] = {{&msg.header, sizeof msg.header}, {msg.payload, sizeof msg.payload}};
  // Room for the credentials alone: the kernel then closes descriptors that a sender adds, which
  // would pile up here.
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
  msghdr arrived{};
  arrived.msg_name = &msg.address;
  arrived.msg_namelen = sizeof msg.address;
  arrived.msg_iov = parts;
  arrived.msg_iovlen = std::size(parts);
  arrived.msg_control = control;
  arrived.msg_controllen = sizeof control;
  ssize_t size = 0;
  do {
    size = recvmsg(fd, &arrived, MSG_DONTWAIT | MSG_TRUNC | MSG_CMSG_CLOEXEC);
  } while (size < 0 && errno == EINTR);
  if (size < 0) return -1;
  msg.address_length = arrived.msg_namelen;
  msg.sender = credentials_of(arrived);
  clear_behind(msg, static_cast<size_t>(size));
  return size;
}

bool is_privileged(const message &msg) {
  return msg.sender.uid == 0 || msg.sender.uid == geteuid();
}

bool has_address(const message &msg) {
  return msg.address_length > offsetof(sockaddr_un, sun_path);
}

}  // namespace vesk
