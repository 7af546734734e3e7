#include "tests/support/wire_socket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdio>
#include <cstring>

namespace vesk::test {

namespace {

constexpr char access_point[] = "/run/vesk/sap-1016";

template <typename Number>
std::vector<uint8_t> bytes_of(std::initializer_list<Number> values) {
  std::vector<uint8_t> bytes(values.size() * sizeof(Number));
  std::memcpy(bytes.data(), values.begin(), bytes.size());
  return bytes;
}

}  // namespace

uint32_t reply::word() const {
  uint32_t value = UINT32_MAX;
  if (payload.size() >= sizeof value) std::memcpy(&value, payload.data(), sizeof value);
  return value;
}

wire_socket::wire_socket() : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  const sa_family_t any_address = AF_UNIX;
  if (bind(fd_.get(), reinterpret_cast<const sockaddr *>(&any_address), sizeof any_address) != 0) {
    std::perror("bind");
  }
}

bool wire_socket::send_raw(std::span<const uint8_t> datagram) {
  sockaddr_un daemon{};
  daemon.sun_family = AF_UNIX;
  std::strcpy(daemon.sun_path, access_point);
  return sendto(fd_.get(), datagram.data(), datagram.size(), 0,
                reinterpret_cast<const sockaddr *>(&daemon), sizeof daemon) >= 0;
}

uint32_t wire_socket::send(uint32_t opcode, std::span<const uint8_t> payload, uint16_t flags) {
  vesk_wire_header header = header_for(opcode, payload.size(), ++sequence_);
  header.flags = flags;
  return send_raw(message(header, payload)) ? sequence_ : 0;
}

std::optional<reply> receive_from(const unique_fd &fd, std::chrono::milliseconds limit) {
  pollfd readable{fd.get(), POLLIN, 0};
  if (poll(&readable, 1, static_cast<int>(limit.count())) != 1) return {};
  std::vector<uint8_t> datagram(VESK_WIRE_HEADER_SIZE + VESK_WIRE_MAX_PAYLOAD);
  const ssize_t length = recv(fd.get(), datagram.data(), datagram.size(), 0);
  reply got{};
  if (length < static_cast<ssize_t>(sizeof got.header)) return {};
  std::memcpy(&got.header, datagram.data(), sizeof got.header);
  got.payload.assign(datagram.begin() + sizeof got.header, datagram.begin() + length);
  return got;
}

void wire_socket::drain() {
  char nothing = 0;
  while (recv(fd_.get(), &nothing, sizeof nothing, MSG_DONTWAIT) >= 0) {
  }
}

reply wire_socket::request(uint32_t opcode, std::span<const uint8_t> payload) {
  if (const uint32_t sequence = send(opcode, payload)) {
    while (auto got = receive()) {
      if (got->header.sequence == sequence) return *got;
    }
  }
  return {};
}

reply wire_socket::request(const record &sent) {
  return request(1151, sent.bytes());
}

std::vector<uint8_t> message(vesk_wire_header header, std::span<const uint8_t> payload) {
  std::vector<uint8_t> bytes(sizeof header + payload.size());
  std::memcpy(bytes.data(), &header, sizeof header);
  std::copy(payload.begin(), payload.end(), bytes.begin() + sizeof header);
  return bytes;
}

vesk_wire_header header_for(uint32_t opcode, size_t length, uint32_t sequence) {
  vesk_wire_header header{};
  header.magic = 0x5645534B;
  header.version = 1;
  header.opcode = opcode;
  header.sequence = sequence;
  header.source = 77;
  header.length = static_cast<uint32_t>(length);
  return header;
}

std::vector<uint8_t> words(std::initializer_list<uint32_t> values) {
  return bytes_of(values);
}
std::vector<uint8_t> half_words(std::initializer_list<uint16_t> values) {
  return bytes_of(values);
}

}  // namespace vesk::test
