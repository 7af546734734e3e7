#include "tests/support/log_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace vesk::test {

namespace {

constexpr uint32_t header_size = 20;

uint32_t word(const uint8_t *at) {
  return static_cast<uint32_t>(at[0] << 8 | at[1]);
}

uint32_t long_word(const uint8_t *at) {
  return word(at) << 16 | word(at + 2);
}

// Whether a header may have been here before its sum was lost. The data and the damage that tests
// write never look like one: their first word is no uuid.
bool looks_like_header(const uint8_t *at) {
  const uint32_t uuid = word(at);
  return uuid >= 1 && uuid <= 2736 && word(at + 4) % 4 == 0 && at[9] == 0;
}

std::string entry_picture(const uint8_t *at) {
  const uint32_t type = word(at + 2);
  return (sum_holds(at) ? "" : "!") + (type == 0 ? "N" : "E" + std::to_string(type)) + "/" +
         std::to_string(word(at + 4));
}

// The next header behind `offset`, or `limit`.
uint32_t end_of_damage(const std::vector<uint8_t> &file, uint32_t offset, uint32_t limit) {
  for (uint32_t at = offset + 4; at + header_size <= limit; at += 4) {
    if (sum_holds(&file[at]) || looks_like_header(&file[at])) return at;
  }
  return limit;
}

// Adds what lies from `at` up to `limit` to the picture, and returns where the last item ends: at
// the limit, or behind it.
uint32_t walk(const std::vector<uint8_t> &file, uint32_t at, uint32_t limit, std::string &out) {
  while (at < limit) {
    const bool room = at + header_size <= limit;
    if (room && (sum_holds(&file[at]) || looks_like_header(&file[at]))) {
      out += entry_picture(&file[at]) + " ";
      at += header_size + word(&file[at + 4]);
    } else {
      const uint32_t next = end_of_damage(file, at, limit);
      out += "~" + std::to_string(next - at) + " ";
      at = next;
    }
  }
  return at;
}

}  // namespace

bool sum_holds(const uint8_t *bytes) {
  uint32_t sum = 0;
  for (uint32_t i = 0; i < header_size; i += 2) sum += word(bytes + i);
  sum = (sum & 0xFFFF) + (sum >> 16);
  sum = (sum & 0xFFFF) + (sum >> 16);
  return sum == 0xFFFF;
}

log_file::log_file(std::string path)
    : path_(std::move(path)), fd_(openat(AT_FDCWD, path_.c_str(), O_RDWR)) {
  if (fd_ < 0) throw std::runtime_error(path_ + ": " + std::strerror(errno));
}

log_file::log_file(log_file &&other) noexcept
    : path_(std::exchange(other.path_, {})), fd_(std::exchange(other.fd_, -1)) {}

log_file::~log_file() {
  if (fd_ < 0) return;
  close(fd_);
  unlink(path_.c_str());
}

uint32_t log_file::size() const {
  struct stat st {};
  fstat(fd_, &st);
  return static_cast<uint32_t>(st.st_size);
}

std::vector<uint8_t> log_file::bytes() const {
  std::vector<uint8_t> content(size());
  if (pread(fd_, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size())) {
    throw std::runtime_error(path_ + ": cannot be read whole");
  }
  return content;
}

std::string log_file::hex(uint32_t offset, uint32_t count) const {
  static constexpr char digits[] = "0123456789abcdef";
  const std::vector<uint8_t> content = bytes();
  std::string out;
  for (uint32_t i = offset; i < offset + count && i < content.size(); ++i) {
    if (i > offset) out += (i - offset) % 4 == 0 ? "  " : " ";
    out += digits[content[i] >> 4];
    out += digits[content[i] & 15];
  }
  return out;
}

std::string log_file::text(uint32_t offset, uint32_t count) const {
  const std::vector<uint8_t> content = bytes();
  if (offset + count > content.size()) return "(the file ends before that)";
  return {content.begin() + offset, content.begin() + offset + count};
}

std::string log_file::picture() const {
  const std::vector<uint8_t> file = bytes();
  if (file.size() < header_size) return "(no global header)";
  const uint32_t max = long_word(&file[8]);
  const uint32_t start = long_word(&file[12]);
  const uint32_t end = long_word(&file[16]);

  const uint32_t size = static_cast<uint32_t>(file.size());

  std::string out;
  uint32_t from = start;
  if (start > end) {
    walk(file, start, std::min(max, size), out);
    out += "| ";
    from = header_size;
  }
  if (walk(file, from, std::min(end, size), out) != end) out += "... ";
  out += (sum_holds(file.data()) ? "" : "!") + ("start=" + std::to_string(start)) +
         " end=" + std::to_string(end);
  return out;
}

}  // namespace vesk::test
