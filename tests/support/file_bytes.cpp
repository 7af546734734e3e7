#include "tests/support/file_bytes.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <fstream>
#include <stdexcept>

#include "tests/support/header_bytes.h"

namespace vesk::test {

namespace {

using namespace std::string_literals;

std::string text_of(const header_bytes &header) {
  return {header.begin(), header.end()};
}

}  // namespace

std::string gheader(uint32_t max, uint32_t start, uint32_t end, std::optional<uint16_t> sum) {
  header_bytes header = global_header(max, start, end);
  if (sum) put16(header, 6, *sum);
  return text_of(header);
}

std::string entry(const header_fields &f, std::string_view data) {
  return text_of(entry_header({.uuid = f.uuid,
                               .type = f.type,
                               .size = f.size.value_or(static_cast<uint16_t>(data.size())),
                               .flags = f.flags,
                               .prev_size = f.prev_size,
                               .secs = f.secs,
                               .usecs = f.usecs,
                               .sum = f.sum}))
      .append(data);
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
