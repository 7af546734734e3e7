#include "host/vesk_outbox.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "base/vesk_errno.h"
#include "host/vesk_clock.h"
#include "host/vesk_counters.h"
#include "host/vesk_rate_limit.h"
#include "host/vesk_stderr.h"
#include "protocol/vesk_run_dir.h"

namespace vesk {
namespace {

// --- datagrams ---

uint32_t source;
int32_t outbox = -1;  // has no address, so that nobody can send to it

vesk_wire_header make_header(uint16_t flags, uint32_t opcode, uint32_t sequence, uint32_t length) {
  return {VESK_WIRE_MAGIC, VESK_WIRE_VERSION, 0, flags, opcode, sequence, source, length};
}

ssize_t send_once(const msghdr &datagram) {
  if (outbox < 0) outbox = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  return outbox < 0 ? -1 : sendmsg(outbox, &datagram, MSG_DONTWAIT | MSG_NOSIGNAL);
}

// Sends `header` and its `length` bytes of `payload`. 0, or -1 with errno; EAGAIN means that the
// receiver's queue is full.
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
  if (sent < 0 && (errno == EAGAIN || errno == ENOBUFS)) {
    // What a receiver leaves unread counts against the buffer of the socket that sent it. Either
    // this receiver's queue is full, or others have used up our socket: a fresh one shows which.
    close(outbox);
    outbox = -1;
    sent = send_once(datagram);
    if (sent < 0 && errno == ENOBUFS) errno = EAGAIN;
  }
  return sent < 0 ? -1 : 0;
}

// --- answers ---

std::array<rate_limit, refusal_count> refusal_lines;
rate_limit unanswered_lines;

void report_refusal(const message &msg, refusal why) {
  const auto left_out = refusal_lines[static_cast<size_t>(why)].pass(monotonic_usecs());
  if (!left_out) return;
  complain(priority::warning,
           "vesk host: refused opcode %u from process %d of user %u: %s (%u more not shown)",
           msg.header.opcode, msg.sender.pid, msg.sender.uid, refusal_text(why), *left_out);
}

void report_unanswered(const message &msg) {
  const auto left_out = unanswered_lines.pass(monotonic_usecs());
  if (!left_out) return;
  const char *reason = errno == EAGAIN ? "it does not read its answers" : std::strerror(errno);
  complain(priority::warning,
           "vesk host: no answer to opcode %u reaches process %d of user %u: %s "
           "(%u more not shown)",
           msg.header.opcode, msg.sender.pid, msg.sender.uid, reason, *left_out);
}

int32_t send_back(const message &msg, uint16_t flags, uint32_t opcode, const void *payload,
                  uint32_t length) {
  if (msg.address_length <= offsetof(sockaddr_un, sun_path)) {
    errno = EDESTADDRREQ;
    return -1;
  }
  const vesk_wire_header header = make_header(flags, opcode, msg.header.sequence, length);
  return send_datagram(msg.address, msg.address_length, header, payload);
}

// --- listeners ---

rate_limit missed_lines;

void missed(const char *listener, const char *reason) {
  ++counters.listeners_missed;
  const auto left_out = missed_lines.pass(monotonic_usecs());
  if (!left_out) return;
  complain(priority::warning, "vesk host: listener \"%s\" misses a message: %s (%u more not shown)",
           listener, reason, *left_out);
}

void send_to(const char *listener, const vesk_wire_header &header, const void *payload) {
  char name[sizeof VESK_WIRE_LISTENERS + sizeof dirent::d_name];
  std::snprintf(name, sizeof name, "%s/%s", VESK_WIRE_LISTENERS, listener);
  sockaddr_un address;
  if (!run_dir_address(run_dir(), name, address)) {
    missed(listener, "its name is too long for a socket");
    return;
  }
  // Only a socket is a listener: with a link, anybody who may write to this directory could make us
  // send anywhere.
  struct stat st;
  if (lstat(address.sun_path, &st) != 0 || !S_ISSOCK(st.st_mode)) return;
  if (send_datagram(address, sizeof address, header, payload) == 0) {
    ++counters.listeners_reached;
  } else if (errno == ECONNREFUSED) {
    unlink(address.sun_path);
  } else {
    missed(listener, errno == EAGAIN ? "it does not read them" : std::strerror(errno));
  }
}

}  // namespace

void set_source(uint32_t uuid) {
  source = uuid;
}

int32_t answer(message &msg, uint16_t flags, uint32_t opcode, const void *payload,
               uint32_t length) {
  if (send_back(msg, flags, opcode, payload, length) == 0) {
    msg.answered = true;
    ++counters.answered;
    return 0;
  }
  const errno_keeper keeper;
  ++counters.unanswered;
  report_unanswered(msg);
  return -1;
}

void refuse(message &msg, refusal why) {
  ++counters.refused[static_cast<size_t>(why)];
  report_refusal(msg, why);
  if (!is_reported(why)) return;
  const auto reason = static_cast<uint32_t>(why);
  if (send_back(msg, VESK_WIRE_REFUSED, 0, &reason, sizeof reason) != 0) ++counters.unanswered;
  msg.answered = true;  // there is no receipt for what was refused
}

void send_to_listeners(uint32_t opcode, const void *payload, uint32_t length) {
  sockaddr_un directory;
  if (!run_dir_address(run_dir(), VESK_WIRE_LISTENERS, directory)) return;
  DIR *dir = opendir(directory.sun_path);
  if (dir == nullptr) return;
  const vesk_wire_header header = make_header(0, opcode, 0, length);
  while (const dirent *entry = readdir(dir)) send_to(entry->d_name, header, payload);
  closedir(dir);
}

}  // namespace vesk
