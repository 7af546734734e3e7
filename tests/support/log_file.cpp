#include "tests/support/log_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

#include "tests/support/header_bytes.h"

namespace vesk::test {

namespace {

// Whether a header may have been here before its sum was lost. The data and the damage that tests
// write never look like one: their first word is no uuid.
bool looks_like_header(std::span<const uint8_t> header) {
  const uint16_t uuid = get16(header, 0);
  return uuid >= 1 && uuid <= 2736 && get16(header, 4) % 4 == 0 && header[9] == 0;
}

// Whether a header is at `at`, or has been there, and ends at or before `limit`.
bool header_at(std::span<const uint8_t> file, uint32_t at, uint32_t limit) {
  return at + header_size <= limit &&
         (sum_holds(&file[at]) || looks_like_header(file.subspan(at, header_size)));
}

std::string entry_picture(std::span<const uint8_t> header) {
  const uint16_t type = get16(header, 2);
  return (sum_holds(header.data()) ? "" : "!") + (type == 0 ? "N" : "E" + std::to_string(type)) +
         "/" + std::to_string(get16(header, 4));
}

// The next header behind `offset`, or `limit`.
uint32_t end_of_damage(std::span<const uint8_t> file, uint32_t offset, uint32_t limit) {
  for (uint32_t at = offset + 4; at + header_size <= limit; at += 4) {
    if (header_at(file, at, limit)) return at;
  }
  return limit;
}

// Adds what lies from `at` up to `limit` to the picture, and returns where the last item ends: at
// the limit, or behind it.
uint32_t walk(std::span<const uint8_t> file, uint32_t at, uint32_t limit, std::string &out) {
  while (at < limit) {
    if (header_at(file, at, limit)) {
      out += entry_picture(file.subspan(at, header_size)) + " ";
      at += header_size + get16(file, at + 4);
    } else {
      const uint32_t next = end_of_damage(file, at, limit);
      out += "~" + std::to_string(next - at) + " ";
      at = next;
    }
  }
  return at;
}

}  // namespace

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

bool log_file::extend_to(uint64_t size) const {
  if (size > static_cast<uint64_t>(std::numeric_limits<off_t>::max())) return false;
  if (ftruncate(fd_, static_cast<off_t>(size)) != 0)
    throw std::runtime_error("cannot extend " + path_);
  return true;
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

std::string picture_of(std::span<const uint8_t> file) {
  if (file.size() < header_size) return "(no global header)";
  const gheader_fields header = gheader_of(file);
  const uint32_t size = static_cast<uint32_t>(file.size());

  std::string out;
  uint32_t from = header.start;
  if (header.start > header.end) {
    walk(file, header.start, std::min(header.max, size), out);
    out += "| ";
    from = header_size;
  }
  if (walk(file, from, std::min(header.end, size), out) != header.end) out += "... ";
  out += (sum_holds(file.data()) ? "" : "!") + ("start=" + std::to_string(header.start)) +
         " end=" + std::to_string(header.end);
  return out;
}

}  // namespace vesk::test
