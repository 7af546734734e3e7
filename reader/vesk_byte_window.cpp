#include "reader/vesk_byte_window.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace vesk {

namespace {

constexpr size_t buffer_size = size_t{1} << 20;
constexpr uint64_t block_size = 4096;  // what is given up where a read fails

}  // namespace

byte_window::byte_window(int fd, uint64_t length)
    : fd_(fd), end_(length), buffer_(static_cast<size_t>(std::min(uint64_t{buffer_size}, length))) {
  move_to(0);
}

bool byte_window::move_to(uint64_t offset) {
  if (fd_ < 0 || std::min(offset + reach, end_) <= base_ + filled_) return false;

  const uint64_t base = offset > reach ? offset - reach : 0;
  const size_t passed = static_cast<size_t>(std::min(base - base_, uint64_t{filled_}));
  std::memmove(buffer_.data(), buffer_.data() + passed, filled_ - passed);
  filled_ -= passed;
  base_ = base;
  std::erase_if(unreadable_, [base](const auto &stretch) { return stretch.end <= base; });
  while (filled_ < buffer_.size() && base_ + filled_ < end_) read_more();
  return true;
}

void byte_window::read_more() {
  const uint64_t offset = base_ + filled_;
  const auto wanted =
      static_cast<size_t>(std::min(uint64_t{buffer_.size() - filled_}, end_ - offset));
  const ssize_t got = pread(fd_, buffer_.data() + filled_, wanted, static_cast<off_t>(offset));
  if (got > 0) {
    filled_ += static_cast<size_t>(got);
  } else if (got == 0) {
    end_ = offset;
  } else if (errno != EINTR) {
    pass_over(offset, errno);
  }
}

void byte_window::pass_over(uint64_t offset, int error) {
  const uint64_t block_end = (offset / block_size + 1) * block_size;
  const uint64_t end = std::min({block_end, base_ + buffer_.size(), end_});
  const auto count = static_cast<size_t>(end - offset);
  std::memset(buffer_.data() + filled_, 0, count);
  filled_ += count;
  if (!unreadable_.empty() && unreadable_.back().end == offset) {
    unreadable_.back().end = end;
  } else {
    unreadable_.push_back({offset, end, error});
  }
}

ring_bytes byte_window::at_hand() const {
  return fd_ < 0 ? memory_ : ring_bytes(buffer_.data(), filled_);
}

ring_bytes byte_window::bytes(uint64_t offset, uint64_t length) const {
  const ring_bytes all = at_hand();
  if (offset < base_ || offset - base_ > all.size()) return {};
  const auto place = static_cast<size_t>(offset - base_);
  return all.subspan(place, static_cast<size_t>(std::min<uint64_t>(length, all.size() - place)));
}

const unreadable_stretch *byte_window::unreadable_at(uint64_t offset) const {
  const auto found = std::find_if(unreadable_.begin(), unreadable_.end(), [&](const auto &stretch) {
    return stretch.offset <= offset && offset < stretch.end;
  });
  return found == unreadable_.end() ? nullptr : &*found;
}

uint64_t byte_window::next_data(uint64_t offset) const {
  if (fd_ < 0) return offset;
  const off_t data = lseek(fd_, static_cast<off_t>(offset), SEEK_DATA);
  if (data >= 0) return static_cast<uint64_t>(data);
  return errno == ENXIO ? end_ : offset;  // nothing but a hole, or not known
}

}  // namespace vesk
