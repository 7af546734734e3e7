#include "bench/sender.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>

#include "protocol/vesk_messages.h"
#include "protocol/vesk_wire.h"

namespace vesk::bench {

namespace {

using clock = std::chrono::steady_clock;
constexpr int patience_ms = 10'000;

std::vector<uint8_t> datagram_of(uint32_t opcode, const std::vector<uint8_t> &payload) {
  vesk_wire_header header{};
  header.magic = VESK_WIRE_MAGIC;
  header.version = VESK_WIRE_VERSION;
  header.opcode = opcode;
  header.length = static_cast<uint32_t>(payload.size());
  std::vector<uint8_t> bytes(sizeof header + payload.size());
  std::memcpy(bytes.data(), &header, sizeof header);
  std::memcpy(bytes.data() + sizeof header, payload.data(), payload.size());
  return bytes;
}

std::runtime_error failure(const std::string &what) {
  return std::runtime_error(what + ": " + std::strerror(errno));
}

}  // namespace

std::vector<uint8_t> message_of(const log_record &record) {
  return datagram_of(IPQ_OPC_VESK_LOG, bytes_of(record));
}

sender::sender(const std::string &socket_path)
    : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  to_.sun_family = AF_UNIX;
  socket_path.copy(to_.sun_path, sizeof to_.sun_path - 1);
  const sa_family_t any = AF_UNIX;
  if (fd_ < 0 || bind(fd_, reinterpret_cast<const sockaddr *>(&any), sizeof any) != 0) {
    throw failure("no socket to send from");
  }
}

sender::~sender() {
  close(fd_);
}

void sender::send_one(const std::vector<uint8_t> &datagram) {
  if (sendto(fd_, datagram.data(), datagram.size(), MSG_NOSIGNAL,
             reinterpret_cast<const sockaddr *>(&to_), sizeof to_) < 0) {
    throw failure(std::string("cannot send to ") + to_.sun_path);
  }
}

void sender::await_answer() {
  pollfd answered = {fd_, POLLIN, 0};
  char answer[256];
  if (poll(&answered, 1, patience_ms) != 1 || recv(fd_, answer, sizeof answer, 0) < 0) {
    throw std::runtime_error("no answer to a record");
  }
}

void sender::wait_until_taken() {
  const auto until = clock::now() + std::chrono::milliseconds(patience_ms);
  char answer[256];
  for (int waiting = 1; waiting > 0;) {
    while (recv(fd_, answer, sizeof answer, MSG_DONTWAIT) >= 0) continue;
    if (ioctl(fd_, SIOCOUTQ, &waiting) != 0) throw failure("cannot see what was taken");
    if (clock::now() > until) throw std::runtime_error("records are not taken");
    if (waiting > 0) usleep(50);
  }
}

void sender::wait_for_queue() {
  const auto until = clock::now() + std::chrono::milliseconds(patience_ms);
  const int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  while (connect(probe, reinterpret_cast<const sockaddr *>(&to_), sizeof to_) != 0) {
    if (clock::now() > until) {
      throw std::runtime_error(std::string("no program serves ") + to_.sun_path +
                               " within ten seconds; it may not have started");
    }
    usleep(200);
  }
  close(probe);
}

void sender::wait_for_daemon() {
  wait_for_queue();
  send_one(datagram_of(VESK_WIRE_OPC_STATUS, std::vector<uint8_t>()));
  await_answer();
}

double sender::send(log_record record, uint32_t count) {
  const bool each_answered = record.sync != 0;
  const std::vector<uint8_t> datagram = message_of(record);
  if (!each_answered) record.sync = 1;
  const std::vector<uint8_t> last = message_of(record);
  const auto began = clock::now();
  for (uint32_t i = 1; i < count; ++i) {
    send_one(datagram);
    if (each_answered) await_answer();
  }
  send_one(last);
  await_answer();
  return std::chrono::duration<double>(clock::now() - began).count();
}

}  // namespace vesk::bench
