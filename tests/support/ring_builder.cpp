#include "tests/support/ring_builder.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "base/vesk_fd.h"
#include "format/vesk_catalogue.h"

namespace vesk::test {

namespace {

constexpr uint8_t damage_pattern[] = {0xDA, 0x4A, 0x6E, 0xD1};
constexpr uint8_t data_byte = 0xB5;

void append(image &to, std::span<const uint8_t> bytes) {
  to.insert(to.end(), bytes.begin(), bytes.end());
}

}  // namespace

ring::ring(uint32_t file_type) : bytes_(header_size) {
  const vesk_catalogue_row *row = find_file(file_type);
  if (!row) throw std::invalid_argument("no such file type");
  path_ = std::string(VESK_LOG_DIR) + row->name;
  max_ = row->max_size;
}

ring &ring::chained() {
  last_size_ = header_size;
  return *this;
}

ring &ring::entry(const entry_fields &fields) {
  headers_.insert(here());
  entry_fields complete = fields;
  if (last_size_) complete.prev_size = std::exchange(*last_size_, fields.size);
  append(bytes_, entry_header(complete));
  bytes_.insert(bytes_.end(), fields.size, fields.type == 0 ? 0 : data_byte);
  return *this;
}

ring &ring::entries(uint32_t count, uint16_t size) {
  for (uint32_t i = 0; i < count; ++i) entry(next_type_++, size);
  return *this;
}

ring &ring::null(uint16_t size, uint32_t secs) {
  return entry({.uuid = 293, .type = 0, .size = size, .secs = secs});
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

ring &ring::patch(uint32_t offset, image bytes) {
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

void ring::expect_no_other_header() const {
  for (uint32_t at = header_size; at + header_size <= here(); at += 4) {
    if (sum_holds(&bytes_[at]) && !headers_.contains(at)) {
      throw std::logic_error("a header by accident at offset " + std::to_string(at));
    }
  }
}

image ring::bytes() const {
  expect_no_other_header();
  image file = bytes_;
  const header_bytes header =
      global_header(max_, start_.value_or(header_size), end_.value_or(here()), version_);
  std::copy(header.begin(), header.end(), file.begin());
  for (const auto &[offset, bytes] : patches_) {
    file.resize(std::max(file.size(), offset + bytes.size()));
    std::copy(bytes.begin(), bytes.end(), file.begin() + offset);
  }
  return file;
}

log_file ring::make() const {
  const image file = bytes();
  const unique_fd fd(openat(AT_FDCWD, path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644));
  if (pwrite(fd.get(), file.data(), file.size(), 0) != static_cast<ssize_t>(file.size())) {
    throw std::runtime_error(path_ + ": " + std::strerror(errno));
  }
  return log_file(path_);
}

}  // namespace vesk::test
