#include "bench/log_record.h"

namespace vesk::bench {

namespace {

void put(std::vector<uint8_t> &out, uint32_t value, int width) {
  for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) {
    out.push_back(static_cast<uint8_t>(value >> shift));
  }
}

constexpr uint16_t uuid = 25;
constexpr uint32_t a_second_of_2026 = 1'790'000'000;

}  // namespace

std::vector<uint8_t> bytes_of(const log_record &record) {
  std::vector<uint8_t> bytes;
  put(bytes, uuid, 2);
  put(bytes, record.type, 2);
  put(bytes, record.length, 2);
  put(bytes, 0, 1);  // flags
  put(bytes, record.update ? 1 : 0, 1);
  put(bytes, a_second_of_2026, 4);
  put(bytes, 0, 4);  // microseconds
  put(bytes, record.file_type, 2);
  put(bytes, record.sync, 1);
  put(bytes, 0, 1);  // reserved
  put(bytes, record.instance, 4);
  bytes.insert(bytes.end(), record.text.begin(), record.text.end());
  for (size_t i = record.text.size(); i < record.length; ++i) {
    bytes.push_back(static_cast<uint8_t>('a' + i % 26));
  }
  return bytes;
}

}  // namespace vesk::bench
