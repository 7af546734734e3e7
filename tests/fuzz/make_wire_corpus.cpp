// Writes the seeds of the wire fuzzer: one small file for each thing that a datagram may be.
#include <cstdint>
#include <map>
#include <string>

#include "protocol/vesk_wire.h"
#include "tests/fuzz/wire_input.h"
#include "tests/fuzz/write_seeds.h"

namespace vesk::test {
namespace {

std::string sends(const std::string &datagram, int how = 0) {
  return {static_cast<char>(how) + std::string(1, static_cast<char>(datagram.size())) +
          static_cast<char>(datagram.size() >> 8) + datagram};
}

std::string datagram(const vesk_wire_header &header, const std::string &payload = {}) {
  return {std::string(reinterpret_cast<const char *>(&header), sizeof header) + payload};
}

// A request as it should be.
std::string request(uint32_t opcode, const std::string &payload = {}, uint16_t flags = 1) {
  const auto length = static_cast<uint32_t>(payload.size());
  return datagram({0x5645534B, 1, 0, flags, opcode, 4711, 25, length}, payload);
}

std::string with_byte(std::string bytes, size_t at, char value) {
  bytes[at] = value;
  return bytes;
}

std::map<std::string, std::string> seeds() {
  const std::string levels("\x02\xFF\0\0", 4);
  const std::string word(4, '\x07');
  const std::string log = request(1151, "a record");
  std::string burst;
  for (int i = 0; i < 8; ++i) {
    burst += sends(i % 3 == 0 ? log : with_byte(log, static_cast<size_t>(i), 0), more_follow);
  }
  return {
      {"answer", sends(log)},
      {"receipt", sends(log, not_answered)},
      {"no_receipt", sends(request(1151, "a record", 0), not_answered)},
      {"unnamed", sends(log, unnamed) + sends(log, unnamed | not_answered)},
      {"short", sends("KSEV") + sends(log.substr(0, 8)) + sends(log.substr(0, 23)) + sends("")},
      {"magic", sends(with_byte(log, 0, 'V'))},
      {"version", sends(with_byte(log, 4, 2))},
      {"came_back", sends(request(0, word, 0x100)) + sends(request(0, "", 0x200)) +
                        sends(request(0, word, 0x400))},
      {"length", sends(with_byte(log, 20, 7)) + sends(with_byte(log, 23, 1))},
      {"large", sends(request(1151, std::string(4000, 'x')))},
      {"after_a_large_one", sends(request(1151, std::string(900, 'x'))) + sends(log)},
      {"privileged", sends(request(1153, word)) + sends(request(1153, word), other_user) +
                         sends(log, other_user)},
      {"debug_levels", sends(request(60001, levels)) + sends(request(60001, levels), other_user)},
      {"bad_debug_levels", sends(request(60001, word)) + sends(request(60001, "\x02"))},
      {"history", sends(request(60002)) + sends(request(60002, "x"))},
      {"switchover", sends(request(60003, word)) + sends(request(60003))},
      {"status", sends(request(60004), other_user) + sends(request(60004, "x"))},
      {"burst", burst + sends(log)},
      {"mended", sends(std::string(60, '\x42'), mend_magic | mend_length)},
  };
}

}  // namespace
}  // namespace vesk::test

int main(int argc, char **argv) {
  return vesk::test::write_seeds(argc, argv, vesk::test::seeds());
}
