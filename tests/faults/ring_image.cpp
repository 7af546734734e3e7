#include "tests/faults/ring_image.h"

#include <algorithm>
#include <span>

#include "tests/support/header_bytes.h"

namespace vesk::test {

ring_image &ring_image::add(uint16_t uuid, uint16_t type, uint16_t size, uint32_t secs,
                            uint8_t first) {
  image header(header_size);
  put16(header, 0, uuid);
  put16(header, 2, type);
  put16(header, 4, size);
  put16(header, 10, links_ == links::right ? last_size_ : 0);
  put32(header, 12, secs);
  complete_sum(header);
  body_.insert(body_.end(), header.begin(), header.end());
  for (uint32_t i = 0; i < size; ++i) {
    body_.push_back(first == 0 ? first : static_cast<uint8_t>(first + i % 26));
  }
  last_size_ = size;
  return *this;
}

ring_image &ring_image::entry(uint16_t type, uint16_t size, uint32_t secs) {
  return add(77, type, size, secs, 'a');
}

ring_image &ring_image::null(uint16_t size, uint32_t secs) {
  return add(293, 0, size, secs, 0);
}

ring_image &ring_image::damage(uint32_t count) {
  constexpr uint8_t pattern[] = {0x5A, 0xA5, 0xC3, 0x3C};
  for (uint32_t i = 0; i < count; ++i) body_.push_back(pattern[i % sizeof pattern]);
  return *this;
}

image ring_image::file(uint32_t start, uint32_t end) const {
  image whole(header_size + body_.size());
  put32(whole, 0, 0x7665736B);
  put16(whole, 4, 0x0100);
  put32(whole, 8, capacity_);
  put32(whole, 12, start);
  put32(whole, 16, end);
  complete_sum(std::span(whole).first(header_size));
  std::copy(body_.begin(), body_.end(), whole.begin() + header_size);
  return whole;
}

}  // namespace vesk::test
