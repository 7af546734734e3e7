#include "tests/support/file_bytes.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <fstream>
#include <stdexcept>

namespace vesk::test {

namespace {

using namespace std::string_literals;

std::string u8(uint8_t value) {
  return std::string(1, static_cast<char>(value));
}
std::string u16(uint16_t value) {
  return u8(static_cast<uint8_t>(value >> 8)) + u8(static_cast<uint8_t>(value));
}
std::string u32(uint32_t value) {
  return u16(static_cast<uint16_t>(value >> 16)) + u16(static_cast<uint16_t>(value));
}

// Puts the word at offset 6 that brings the ones'-complement sum of the header to 0xFFFF.
std::string with_sum(std::string header, std::optional<uint16_t> sum) {
  const auto byte = [&](size_t i) { return static_cast<uint8_t>(header[i]); };
  uint32_t total = 0;
  for (size_t i = 0; i < header.size(); i += 2) total += 256u * byte(i) + byte(i + 1);
  const auto missing = static_cast<uint16_t>(0xFFFF - (total % 0xFFFF));
  return header.replace(6, 2, u16(sum.value_or(missing)));
}

}  // namespace

std::string gheader(uint32_t max, uint32_t start, uint32_t end, std::optional<uint16_t> sum) {
  return with_sum("vesk"s + u8(1) + u8(0) + u16(0) + u32(max) + u32(start) + u32(end), sum);
}

std::string entry(const header_fields &f, std::string_view data) {
  const uint16_t size = f.size.value_or(static_cast<uint16_t>(data.size()));
  const std::string header = u16(f.uuid) + u16(f.type) + u16(size) + u16(0) + u8(f.flags) + u8(0) +
                             u16(f.prev_size) + u32(f.secs) + u32(f.usecs);
  return with_sum(header, f.sum).append(data);
}

std::string padded_entry(std::string_view data) {
  std::string padded(data);
  while (padded.size() % 4 != 0) padded += '\0';
  return entry({}, padded);
}

std::string file_of(const std::string &entries) {
  return gheader(8192, 20, static_cast<uint32_t>(20 + entries.size())) + entries;
}

std::string alpha() {
  return entry({.uuid = 677, .type = 1024, .sum = 0x645F, .secs = noon, .usecs = 1},
               "alpha\0\0\0"s);
}

std::string beta() {
  return entry({.uuid = 80, .type = 1025, .sum = 0x9623, .secs = noon + 1, .usecs = 250000},
               "beta");
}

std::string gamma_ray() {
  return entry({.uuid = 510,
                .type = 2000,
                .sum = 0x17DB,
                .flags = 7,
                .prev_size = 8,
                .secs = noon + 2,
                .usecs = 999999},
               "gamma ray\0\0\0"s);
}

std::string null8() {
  return entry({.uuid = 293, .type = 0, .sum = 0x69DD, .secs = noon + 3}, std::string(8, '\0'));
}

std::string stale(size_t count) {
  std::string bytes;
  for (size_t i = 0; i < count; ++i) bytes += "\xDA\x4A\x6E\xD1"[i % 4];
  return bytes;
}

void store(const std::string &path, std::string_view bytes) {
  std::ofstream file(path, std::ios::binary);
  file << bytes;
  file.close();
  const timespec times[] = {{noon, 0}, {noon, 0}};
  if (!file || utimensat(AT_FDCWD, path.c_str(), times, 0) != 0) {
    throw std::runtime_error("cannot store " + path);
  }
}

}  // namespace vesk::test
