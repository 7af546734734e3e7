#include "tests/support/ring_builder.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "format/vesk_catalogue.h"

namespace vesk::test {

namespace {

constexpr uint32_t header_size = 20;
constexpr uint8_t damage_pattern[] = {0xDA, 0x4A, 0x6E, 0xD1};
constexpr uint8_t data_byte = 0xB5;

using header = std::vector<uint8_t>;

header &operator<<(header &out, uint8_t value) {
  out.push_back(value);
  return out;
}
header &operator<<(header &out, uint16_t value) {
  return out << static_cast<uint8_t>(value >> 8) << static_cast<uint8_t>(value);
}
header &operator<<(header &out, uint32_t value) {
  return out << static_cast<uint16_t>(value >> 16) << static_cast<uint16_t>(value);
}

// In both headers the sum is at offset 6. The word that is missing from 0xFFFF completes it.
void complete_sum(header &h) {
  uint32_t sum = 0;
  for (size_t i = 0; i < h.size(); i += 2) sum += static_cast<uint32_t>(h[i] << 8 | h[i + 1]);
  while (sum > 0xFFFF) sum = (sum & 0xFFFF) + (sum >> 16);
  const uint32_t missing = 0xFFFF - sum;
  h[6] = static_cast<uint8_t>(missing >> 8);
  h[7] = static_cast<uint8_t>(missing);
}

header entry_header(const entry_fields &f) {
  header h;
  h << f.uuid << f.type << f.size << f.sum.value_or(0) << f.flags << uint8_t{0} << f.prev_size
    << f.secs << f.usecs;
  if (!f.sum) complete_sum(h);
  return h;
}

}  // namespace

ring::ring(uint32_t file_type) : bytes_(header_size) {
  const vesk_catalogue_row *row = find_file(file_type);
  if (!row) throw std::invalid_argument("no such file type");
  path_ = std::string(VESK_LOG_DIR) + row->name;
  max_ = row->max_size;
}

ring &ring::entry(const entry_fields &fields) {
  headers_.insert(here());
  const header h = entry_header(fields);
  bytes_.insert(bytes_.end(), h.begin(), h.end());
  bytes_.insert(bytes_.end(), fields.size, fields.type == 0 ? 0 : data_byte);
  return *this;
}

ring &ring::entries(uint32_t count, uint16_t size) {
  for (uint32_t i = 0; i < count; ++i) entry(next_type_++, size);
  return *this;
}

ring &ring::null(uint16_t size) {
  return entry({.uuid = 293, .type = 0, .size = size});
}

ring &ring::null_to_max() {
  return null(static_cast<uint16_t>(max_ - here() - header_size));
}

ring &ring::damage(uint32_t count) {
  const uint32_t offset = here();
  bytes_.resize(offset + count);
  return damage_at(offset, count);
}

ring &ring::start_here() {
  return start(here());
}

ring &ring::end_here() {
  return end(here());
}

ring &ring::damage_at(uint32_t offset, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) bytes_.at(offset + i) = damage_pattern[i % 4];
  std::erase_if(headers_,
                [&](uint32_t at) { return at < offset + count && at + header_size > offset; });
  return *this;
}

ring &ring::patch(uint32_t offset, std::vector<uint8_t> bytes) {
  patches_.push_back({offset, std::move(bytes)});
  return *this;
}

ring &ring::start(uint32_t offset) {
  start_ = offset;
  return *this;
}

ring &ring::end(uint32_t offset) {
  end_ = offset;
  return *this;
}

ring &ring::max(uint32_t capacity) {
  max_ = capacity;
  return *this;
}

ring &ring::version(uint8_t number) {
  version_ = number;
  return *this;
}

std::vector<uint8_t> ring::with_gheader() const {
  header h = {'v', 'e', 's', 'k'};
  h << version_ << uint8_t{0} << uint16_t{0} << max_ << start_.value_or(header_size)
    << end_.value_or(here());
  complete_sum(h);
  std::vector<uint8_t> file = bytes_;
  std::copy(h.begin(), h.end(), file.begin());
  return file;
}

void ring::expect_no_other_header() const {
  for (uint32_t at = header_size; at + header_size <= here(); at += 4) {
    if (sum_holds(&bytes_[at]) && !headers_.contains(at)) {
      throw std::logic_error("a header by accident at offset " + std::to_string(at));
    }
  }
}

log_file ring::make() const {
  expect_no_other_header();
  std::vector<uint8_t> file = with_gheader();
  for (const auto &[offset, bytes] : patches_) {
    file.resize(std::max(file.size(), offset + bytes.size()));
    std::copy(bytes.begin(), bytes.end(), file.begin() + offset);
  }
  const int fd = openat(AT_FDCWD, path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  const ssize_t written = fd < 0 ? -1 : pwrite(fd, file.data(), file.size(), 0);
  if (fd >= 0) close(fd);
  if (written != static_cast<ssize_t>(file.size())) {
    throw std::runtime_error(path_ + ": " + std::strerror(errno));
  }
  return log_file(path_);
}

}  // namespace vesk::test
