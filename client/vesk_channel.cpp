#include "client/vesk_channel.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>

#include "base/vesk_errno.h"
#include "client/vesk_daemon_socket.h"

namespace vesk::client {
namespace {

// The kernel hands addresses out anew: a first number of our own keeps a late answer to a process
// that had this address before us from being taken for ours.
uint32_t first_sequence() {
  return static_cast<uint32_t>(monotonic_now().count()) ^ static_cast<uint32_t>(getpid()) << 16;
}

// Milliseconds, rounded up, so that 0 means that the deadline has passed.
int left_until(deadline until) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - monotonic_now());
  return static_cast<int>(std::clamp<int64_t>(left.count(), 0, INT_MAX));
}

vesk_client_code send_failure() {
  if (errno == ENOENT || errno == ENOTDIR || errno == ECONNREFUSED) return VESK_CLIENT_NO_DAEMON;
  return errno == EACCES || errno == EPERM ? VESK_CLIENT_NO_PERMISSION : VESK_CLIENT_SYSTEM;
}

iovec piece(bytes b) {
  return {const_cast<uint8_t *>(b.data()), b.size()};
}

vesk_client_code code_of_refusal(bytes payload) {
  // Indexed by vesk_wire_refusal, which begins with 1.
  constexpr vesk_client_code known[] = {VESK_CLIENT_HOST_REFUSED, VESK_CLIENT_HOST_BAD_VERSION,
                                        VESK_CLIENT_HOST_BAD_LENGTH, VESK_CLIENT_HOST_NOT_PERMITTED,
                                        VESK_CLIENT_HOST_BAD_REQUEST};
  static_assert(std::size(known) == VESK_WIRE_BAD_REQUEST + 1);
  uint32_t reason = 0;
  if (payload.size() == sizeof reason) std::memcpy(&reason, payload.data(), sizeof reason);
  return reason < std::size(known) ? known[reason] : VESK_CLIENT_HOST_REFUSED;
}

// Takes one datagram off the socket and stores its size in `size`; 0 for one that does not count.
vesk_client_code receive(channel &ch, size_t &size) {
  iovec part = {ch.received.data(), ch.received.size()};
  const ptrdiff_t got = receive_from_daemon(ch.fd, {&part, 1}, ch.daemon);
  size = got < 0 ? 0 : static_cast<size_t>(got);
  return got >= 0 || errno == EAGAIN || errno == EINTR ? VESK_CLIENT_OK : VESK_CLIENT_SYSTEM;
}

// Whether the `size` bytes received settle the last request, and how.
bool settles(const channel &ch, size_t size, reply &out, vesk_client_code &code) {
  if (size < offsetof(vesk_wire_header, opcode)) return false;
  vesk_wire_header header{};
  std::memcpy(&header, ch.received.data(), size < sizeof header ? size : sizeof header);
  if (header.magic != VESK_WIRE_MAGIC) return false;
  const auto kind = static_cast<uint16_t>(header.flags & VESK_WIRE_REPLY);
  if (header.version != VESK_WIRE_VERSION) {
    // Only the first bytes of such a header are known to us: enough to understand a refusal.
    code = VESK_CLIENT_HOST_BAD_VERSION;
    return kind == VESK_WIRE_REFUSED;
  }
  if (size < sizeof header || header.length != size - sizeof header) return false;
  if (header.sequence != ch.sequence) return false;
  out = {kind, bytes(ch.received).subspan(sizeof header, header.length)};
  code = kind == VESK_WIRE_REFUSED ? code_of_refusal(out.payload) : VESK_CLIENT_OK;
  return kind == VESK_WIRE_ANSWER || kind == VESK_WIRE_RECEIPT || kind == VESK_WIRE_REFUSED;
}

}  // namespace

std::chrono::nanoseconds monotonic_now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

vesk_client_code open_channel(channel &ch, const char *run_dir) {
  if (!locate_daemon_socket(run_dir, ch.daemon)) return VESK_CLIENT_BAD_RUN_DIR;
  ch.sequence = first_sequence();
  ch.fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (ch.fd < 0) return VESK_CLIENT_SYSTEM;
  const int on = 1;
  const sa_family_t any = AF_UNIX;  // an address of this length asks the kernel to choose one
  if (setsockopt(ch.fd, SOL_SOCKET, SO_PASSCRED, &on, sizeof on) == 0 &&
      bind(ch.fd, reinterpret_cast<const sockaddr *>(&any), sizeof any) == 0) {
    return VESK_CLIENT_OK;
  }
  const errno_keeper keeper;
  close(ch.fd);
  return VESK_CLIENT_SYSTEM;
}

vesk_client_code send_request(channel &ch, uint32_t opcode, uint16_t flags, bytes head, bytes rest,
                              deadline until) {
  const auto length = static_cast<uint32_t>(head.size() + rest.size());
  vesk_wire_header header = {VESK_WIRE_MAGIC, VESK_WIRE_VERSION, 0, flags,
                             opcode,          ++ch.sequence,     0, length};
  iovec parts[] = {{&header, sizeof header}, piece(head), piece(rest)};
  msghdr msg{};
  msg.msg_name = &ch.daemon;
  msg.msg_namelen = sizeof ch.daemon;
  msg.msg_iov = parts;
  msg.msg_iovlen = std::size(parts);

  int how = MSG_NOSIGNAL | MSG_DONTWAIT;
  while (sendmsg(ch.fd, &msg, how) < 0) {
    if (errno != EAGAIN && errno != EINTR) return send_failure();
    // The daemon's queue is full. Only a blocking send can wait for room in a queue that is not
    // ours.
    const int left = left_until(until);
    if (left == 0) return VESK_CLIENT_BUSY;
    const timeval wait = {left / 1000, left % 1000 * suseconds_t{1000}};
    if (setsockopt(ch.fd, SOL_SOCKET, SO_SNDTIMEO, &wait, sizeof wait) < 0) {
      return VESK_CLIENT_SYSTEM;
    }
    how = MSG_NOSIGNAL;
  }
  return VESK_CLIENT_OK;
}

vesk_client_code await_reply(channel &ch, deadline until, reply &out) {
  for (;;) {
    const int left = left_until(until);
    pollfd socket = {ch.fd, POLLIN, 0};
    const int ready = poll(&socket, 1, left);
    if (ready < 0 && errno != EINTR) return VESK_CLIENT_SYSTEM;
    if (ready > 0) {
      size_t size = 0;
      vesk_client_code code = receive(ch, size);
      if (code != VESK_CLIENT_OK) return code;
      if (settles(ch, size, out, code)) return code;
    }
    // Checked last, so that a flood of other messages cannot keep us here.
    if (left == 0) return VESK_CLIENT_TIMED_OUT;
  }
}

}  // namespace vesk::client
