#include "tests/fuzz/dispatch_input.h"

#include <algorithm>

#include "format/vesk_catalogue.h"

namespace vesk::test {

namespace {

using input_bytes = std::span<const uint8_t>;

// Takes so many bytes off the front, or as many as there are.
input_bytes take(input_bytes &rest, size_t count) {
  const input_bytes taken_off = rest.first(std::min(count, rest.size()));
  rest = rest.subspan(taken_off.size());
  return taken_off;
}

// A number of that many bytes, the missing ones zero.
uint32_t number(input_bytes &rest, size_t width) {
  uint32_t value = 0;
  uint32_t shift = 0;
  for (const uint8_t byte : take(rest, width)) {
    value |= uint32_t{byte} << shift;
    shift += 8;
  }
  return value;
}

step message(uint32_t opcode, uint8_t platform, input_bytes payload) {
  return {.happens = step::what::message,
          .opcode = opcode,
          .row = 0,
          .platform = platform,
          .bytes = payload};
}

step next_step(input_bytes &rest) {
  const auto first = static_cast<uint8_t>(number(rest, 1));
  const uint32_t length = number(rest, 2);
  input_bytes bytes = take(rest, length);
  const uint8_t platform = first & 0xF0;
  switch (first & 0x0F) {
    case statistics:
      return message(1152, platform, bytes);
    case command:
      return message(1153, platform, bytes);
    case config:
      return message(1155, platform, bytes);
    case recover:
      return message(1158, platform, bytes);
    case ignored:
      return message(length % 2 == 0 ? 1162 : 1165, platform, bytes);
    case flash_failure:
      return message(6024, platform, bytes);
    case any_opcode: {
      const uint32_t opcode = number(bytes, 4);
      return message(opcode, platform, bytes);
    }
    case file_appears: {
      const auto row = number(bytes, 1) % static_cast<uint32_t>(vesk_file_catalogue.size());
      return {.happens = step::what::file, .opcode = 0, .row = row, .platform = 0, .bytes = bytes};
    }
    case flash_mounted:
      return {.happens = step::what::mounted, .opcode = 0, .row = 0, .platform = 0, .bytes = {}};
    case flash_unmounted:
      return {.happens = step::what::unmounted, .opcode = 0, .row = 0, .platform = 0, .bytes = {}};
    default:
      return message(1151, platform, bytes);
  }
}

}  // namespace

dispatch_input dispatch_input_of(std::span<const uint8_t> input) {
  dispatch_input result{};
  result.mounted = number(input, 1) % 2 == 0;
  result.slot = static_cast<uint8_t>(number(input, 1));
  while (!input.empty()) result.steps.push_back(next_step(input));
  return result;
}

}  // namespace vesk::test
