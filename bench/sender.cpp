#include "bench/sender.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>

#include "bench/stage.h"
#include "host/vesk_wire.h"

namespace vesk::bench {

namespace {

using clock = std::chrono::steady_clock;
constexpr int patience_ms = 10'000;

sockaddr_un queue_address() {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, queue_path, sizeof queue_path);
  return address;
}

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

std::runtime_error failure(const char *what) {
  return std::runtime_error(std::string(what) + ": " + std::strerror(errno));
}

}  // namespace

sender::sender() : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  const sa_family_t any = AF_UNIX;
  if (fd_ < 0 || bind(fd_, reinterpret_cast<const sockaddr *>(&any), sizeof any) != 0)
    throw failure("no socket to send from");
}

sender::~sender() {
  close(fd_);
}

void sender::send_one(const std::vector<uint8_t> &datagram) {
  static const sockaddr_un to = queue_address();
  if (sendto(fd_, datagram.data(), datagram.size(), MSG_NOSIGNAL,
             reinterpret_cast<const sockaddr *>(&to), sizeof to) < 0)
    throw failure("cannot send");
}

void sender::await_answer() {
  pollfd answered = {fd_, POLLIN, 0};
  char answer[256];
  if (poll(&answered, 1, patience_ms) != 1 || recv(fd_, answer, sizeof answer, 0) < 0)
    throw std::runtime_error("no answer to a record");
}

void sender::wait_for_queue() {
  const auto until = clock::now() + std::chrono::milliseconds(patience_ms);
  const sockaddr_un to = queue_address();
  const int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  while (connect(probe, reinterpret_cast<const sockaddr *>(&to), sizeof to) != 0) {
    if (clock::now() > until) throw std::runtime_error("nobody serves the queue");
    usleep(1000);
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
  const std::vector<uint8_t> datagram = datagram_of(1151, bytes_of(record));
  if (!each_answered) record.sync = 1;
  const std::vector<uint8_t> last = datagram_of(1151, bytes_of(record));
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
