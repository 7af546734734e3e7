// A sender that shares no code with the client's library: a plain datagram socket.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/vesk_fd.h"
#include "protocol/vesk_wire.h"
#include "tests/support/record.h"

namespace vesk::test {

struct reply {
  vesk_wire_header header;
  std::vector<uint8_t> payload;

  // The first four bytes of the payload as a number in host byte order; 0xFFFFFFFF if there are not
  // as many.
  uint32_t word() const;
};

// What comes next to a socket, if anything does within the time.
std::optional<reply> receive_from(const unique_fd &fd, std::chrono::milliseconds limit);

class wire_socket {
 public:
  // A socket with an address of the kernel's choice.
  wire_socket();

  // Sends bytes as they are and waits while the daemon's queue is full. False with errno when they
  // cannot be sent.
  bool send_raw(std::span<const uint8_t> datagram);

  // Sends a message with a sequence number of its own, which it returns; 0 when it cannot be sent.
  uint32_t send(uint32_t opcode, std::span<const uint8_t> payload,
                uint16_t flags = VESK_WIRE_WANT_RECEIPT);

  // What comes next, if anything does within the time.
  std::optional<reply> receive(std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    return receive_from(fd_, limit);
  }

  // Throws away what has come.
  void drain();

  // Sends, and waits for what comes back on it. A missing reply has all its header zero.
  reply request(uint32_t opcode, std::span<const uint8_t> payload);
  reply request(const record &sent);

 private:
  unique_fd fd_;
  uint32_t sequence_ = 0;
};

// A header as it should be, in front of a payload.
std::vector<uint8_t> message(vesk_wire_header header, std::span<const uint8_t> payload);
vesk_wire_header header_for(uint32_t opcode, size_t length, uint32_t sequence);

// Numbers one after the other, each in host byte order.
std::vector<uint8_t> words(std::initializer_list<uint32_t> values);
std::vector<uint8_t> half_words(std::initializer_list<uint16_t> values);

}  // namespace vesk::test
