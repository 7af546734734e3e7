#include "tests/unit/recovery/recovery_test.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>

namespace vesk::test {

namespace {

constexpr char mount_marker[] = "/kyte_mounted";

std::string shortened(std::string text) {
  const std::string path = "/mnt/vesk/temperature_err.log";
  for (size_t at; (at = text.find(path)) != std::string::npos;) {
    text.replace(at, path.size(), "FILE");
  }
  return text;
}

void put_word(std::vector<uint8_t> &target, size_t offset, size_t value) {
  for (size_t i = 0; i < 4; ++i) target[offset + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}

}  // namespace

RecoveryTest::RecoveryTest() {
  platform.reset();
  std::ofstream{mount_marker};
  errno = EDOM;
}

RecoveryTest::~RecoveryTest() {
  unlink(mount_marker);
}

log_lines RecoveryTest::errors() {
  log_lines found;
  for (const log_line &line : logged()) {
    if (line.level == 101) found.push_back(error(shortened(line.text)));
  }
  return found;
}

uint32_t RecoveryTest::remounts() {
  return static_cast<uint32_t>(std::count(platform.calls.begin(), platform.calls.end(),
                                          "execute_program_and_let_go(/vamo/bin/kytemount)"));
}

lines journal() {
  lines found;
  for (const std::string &line : platform.journal) found.push_back(shortened(line));
  return found;
}

std::string journal(const fault_plan &faults) {
  return shortened(faults.journal());
}

entry_fields linked(uint16_t type, uint16_t size, uint16_t prev_size) {
  return {.type = type, .size = size, .prev_size = prev_size};
}

entry_fields lasting(uint16_t type, uint16_t size, uint16_t prev_size) {
  entry_fields fields = linked(type, size, prev_size);
  fields.usecs = 0xFFFFu - fields.uuid - type - size - prev_size - (fields.secs >> 16);
  return fields;
}

ring three_linked_entries() {
  return ring(7).entry(linked(1024, 8, 20)).entry(linked(1025, 8, 8)).entry(linked(1026, 8, 8));
}

ring damaged_at_80(uint32_t count) {
  return ring(7).entry(linked(1024, 40, 20)).damage(count).entry(linked(1025, 8, 40));
}

ring headers(ring to, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    to.entry({.type = static_cast<uint16_t>(1024 + i), .usecs = 0x1234 + i});
  }
  return to;
}

// The printer shows what a global header calls live: in a copy, that is everything.
std::string contents(const log_file &file) {
  std::vector<uint8_t> all = file.bytes();
  put_word(all, 12, 20);
  put_word(all, 16, all.size());
  const char *path = "/tmp/everything";
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char *>(all.data()), static_cast<std::streamsize>(all.size()));
  const std::string picture = log_file(path).picture();
  const size_t last = picture.find_last_not_of(" !", picture.find("start=") - 1);
  return picture.substr(0, last + 1);
}

log_lines bad_headers(uint32_t first, uint32_t last) {
  log_lines expected;
  for (uint32_t at = first; at <= last; at += 4) {
    expected.push_back(error("ERROR: Bad ehdr at offset " + std::to_string(at) + "\n"));
  }
  return expected;
}

std::string looks_at(std::initializer_list<uint32_t> offsets) {
  std::string journal;
  for (const uint32_t at : offsets) {
    journal += (journal.empty() ? "lseek " : ", lseek ") + std::to_string(at) + ", read 20";
  }
  return journal;
}

}  // namespace vesk::test
