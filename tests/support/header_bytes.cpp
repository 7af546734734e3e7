#include "tests/support/header_bytes.h"

namespace vesk::test {

namespace {

constexpr uint32_t magic = 0x7665736B;

uint16_t sum_of(std::span<const uint8_t> header) {
  uint32_t sum = 0;
  for (uint32_t i = 0; i < header_size; i += 2) sum += get16(header, i);
  while (sum > 0xFFFF) sum = (sum & 0xFFFF) + (sum >> 16);
  return static_cast<uint16_t>(sum);
}

}  // namespace

bool sum_holds(const uint8_t *header) {
  return sum_of({header, header_size}) == 0xFFFF;
}

void complete_sum(std::span<uint8_t> header, uint32_t at) {
  put16(header, at, 0);
  put16(header, at, static_cast<uint16_t>(0xFFFF - sum_of(header)));
}

header_bytes entry_header(const entry_fields &fields) {
  header_bytes header{};
  put16(header, 0, fields.uuid);
  put16(header, 2, fields.type);
  put16(header, 4, fields.size);
  header[8] = fields.flags;
  put16(header, 10, fields.prev_size);
  put32(header, 12, fields.secs);
  put32(header, 16, fields.usecs);
  complete_sum(header);
  if (fields.sum) put16(header, 6, *fields.sum);
  return header;
}

header_bytes global_header(uint32_t max, uint32_t start, uint32_t end, uint8_t version) {
  header_bytes header{};
  put32(header, 0, magic);
  header[4] = version;
  put32(header, 8, max);
  put32(header, 12, start);
  put32(header, 16, end);
  complete_sum(header);
  return header;
}

gheader_fields gheader_of(std::span<const uint8_t> file) {
  if (file.size() < header_size) return {};
  return {.holds = get32(file, 0) == magic && sum_holds(file.data()),
          .version = file[4],
          .max = get32(file, 8),
          .start = get32(file, 12),
          .end = get32(file, 16)};
}

}  // namespace vesk::test
