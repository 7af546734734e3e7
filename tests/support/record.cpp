#include "tests/support/record.h"

namespace vesk::test {

namespace {

void put(std::vector<uint8_t> &out, uint32_t value, int width) {
  for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) {
    out.push_back(static_cast<uint8_t>(value >> shift));
  }
}

}  // namespace

std::string alphabet(size_t len) {
  std::string letters;
  for (size_t i = 0; i < len; ++i) letters += static_cast<char>('a' + i % 26);
  return letters;
}

record::record(const record_fields &f) {
  put(bytes_, f.uuid, 2);
  put(bytes_, f.type, 2);
  put(bytes_, f.len, 2);
  put(bytes_, f.flags, 1);
  put(bytes_, f.update, 1);
  put(bytes_, f.secs, 4);
  put(bytes_, f.usecs, 4);
  put(bytes_, f.file_type, 2);
  put(bytes_, f.sync, 1);
  put(bytes_, f.reserved, 1);
  put(bytes_, f.instance, 4);
  const std::string data = f.data.empty() ? alphabet(f.len) : f.data;
  bytes_.insert(bytes_.end(), data.begin(), data.end());
}

}  // namespace vesk::test
