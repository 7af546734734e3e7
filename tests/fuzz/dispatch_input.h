// What the fuzzer's bytes mean to the dispatcher: a card and what happens to its daemon, one thing
// after another.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace vesk::test {

// The kinds of things that happen, by the lower four bits of the byte that begins each.
enum : uint8_t {
  log_record,
  statistics,
  command,
  config,
  recover,
  ignored,  // one of the opcodes that are accepted and dropped
  flash_failure,
  any_opcode,    // the first four bytes behind it, little-endian
  file_appears,  // of the catalogue's row that the first byte behind it names, modulo their number
  flash_mounted,
  flash_unmounted,
  // All others are log records too: those lead furthest.
};

// What the platform does about it, by the upper four bits of that byte. The last two bits are one
// number: it is the daemon's; the system manager takes it, or keeps it; it cannot be received.
constexpr uint8_t send_fails = 0x10, drop_fails = 0x20;
constexpr uint8_t taken = 0x40, kept = 0x80, not_received = 0xC0;

struct step {
  enum class what : uint8_t { message, file, mounted, unmounted };

  what happens;
  uint32_t opcode;                 // of a message
  uint32_t row;                    // of the file's, in the catalogue
  uint8_t platform;                // the upper four bits
  std::span<const uint8_t> bytes;  // a message's payload, or a file
};

struct dispatch_input {
  bool mounted;
  uint8_t slot;
  std::vector<step> steps;
};

// Any bytes will do. The first is odd where the flash is not mounted, the second is the slot; then
// for each step its kind, a length of 16 bits, little-endian, and so many bytes, or fewer at the
// end. The steps refer to `input`.
dispatch_input dispatch_input_of(std::span<const uint8_t> input);

}  // namespace vesk::test
