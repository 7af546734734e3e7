// What the fuzzer's bytes mean to the message service: datagrams, one after another.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace vesk::test {

// What the byte that begins each says of it.
constexpr uint8_t unnamed = 0x01;       // its sender has no address
constexpr uint8_t other_user = 0x02;    // it comes from somebody without privilege
constexpr uint8_t not_answered = 0x04;  // the daemon lets it go
constexpr uint8_t more_follow = 0x08;   // the daemon looks only after the next one
constexpr uint8_t mend_magic = 0x10;    // magic and version are set right,
constexpr uint8_t mend_length = 0x20;   // and the length

struct wire_step {
  uint8_t how;
  std::vector<uint8_t> datagram;
};

// Any bytes will do. Each datagram is that byte, a length of 16 bits, little-endian, and so many
// bytes, or fewer at the end.
std::vector<wire_step> wire_input_of(std::span<const uint8_t> input);

}  // namespace vesk::test
