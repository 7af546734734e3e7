#include "tests/fuzz/wire_input.h"

#include <algorithm>
#include <cstring>

#include "protocol/vesk_wire.h"

namespace vesk::test {

namespace {

void mend(wire_step &step) {
  vesk_wire_header header{};
  const size_t size = step.datagram.size();
  const size_t there = std::min(size, sizeof header);
  std::memcpy(&header, step.datagram.data(), there);
  if ((step.how & mend_magic) != 0) {
    header.magic = 0x5645534B;
    header.version = 1;
  }
  if ((step.how & mend_length) != 0) header.length = static_cast<uint32_t>(size - 24);
  std::memcpy(step.datagram.data(), &header, there);
}

}  // namespace

std::vector<wire_step> wire_input_of(std::span<const uint8_t> input) {
  std::vector<wire_step> steps;
  while (input.size() >= 3) {
    const size_t length = size_t{input[1]} | size_t{input[2]} << 8;
    const auto bytes = input.subspan(3, std::min(length, input.size() - 3));
    wire_step step{input[0], {bytes.begin(), bytes.end()}};
    if (!step.datagram.empty()) mend(step);
    steps.push_back(std::move(step));
    input = input.subspan(3 + bytes.size());
  }
  return steps;
}

}  // namespace vesk::test
