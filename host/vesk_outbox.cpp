#include "host/vesk_outbox.h"

#include <unistd.h>

#include <cerrno>
#include <iterator>

namespace vesk {
namespace {

uint32_t source;
int32_t outbox = -1;  // has no address, so that nobody can send to it

bool open_outbox() {
  if (outbox < 0) outbox = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  return outbox >= 0;
}

void renew_outbox() {
  close(outbox);
  outbox = -1;
}

bool no_room() {
  return errno == EAGAIN || errno == ENOBUFS;
}

ssize_t send_once(const msghdr &datagram) {
  if (!open_outbox()) return -1;
  return sendmsg(outbox, &datagram, MSG_DONTWAIT | MSG_NOSIGNAL);
}

}  // namespace

void set_source(uint32_t uuid) {
  source = uuid;
}

vesk_wire_header make_header(uint16_t flags, uint32_t opcode, uint32_t sequence, uint32_t length) {
  return {VESK_WIRE_MAGIC, VESK_WIRE_VERSION, 0, flags, opcode, sequence, source, length};
}

int32_t send_datagram(const sockaddr_un &to, socklen_t to_length, const vesk_wire_header &header,
                      const void *payload) {
  iovec parts[] = {{const_cast<vesk_wire_header *>(&header), sizeof header},
                   {const_cast<void *>(payload), header.length}};
  msghdr datagram{};
  datagram.msg_name = const_cast<sockaddr_un *>(&to);
  datagram.msg_namelen = to_length;
  datagram.msg_iov = parts;
  datagram.msg_iovlen = std::size(parts);
  ssize_t sent = send_once(datagram);
  if (sent < 0 && no_room()) {
    // What a receiver leaves unread counts against the buffer of the socket that sent it. Either
    // this receiver's queue is full, or others have used up our socket: a fresh one shows which.
    renew_outbox();
    sent = send_once(datagram);
    if (sent < 0 && errno == ENOBUFS) errno = EAGAIN;
  }
  return sent < 0 ? -1 : 0;
}

}  // namespace vesk
