#include "forecast/vesk_forecast_image.h"

#include <algorithm>
#include <cstring>

#include "format/vesk_checksum.h"
#include "format/vesk_ring.h"

namespace vesk {

namespace {

// Bytes that were never written read as zero.
void grow_to(std::vector<uint8_t> &file, size_t size) {
  if (file.size() < size) file.resize(size);
}

template <typename Header>
void write_header(std::vector<uint8_t> &file, size_t offset, const Header &header) {
  grow_to(file, offset + sizeof header);
  std::memcpy(file.data() + offset, &header, sizeof header);
}

}  // namespace

found_header header_at(ring_bytes file, uint32_t offset) {
  found_header found{header_state::missing, {}};
  if (uint64_t{offset} + VESK_EHDR_SIZE > file.size()) return found;
  std::memcpy(&found.header, file.data() + offset, sizeof found.header);
  found.state = checksum_holds(found.header) ? header_state::good : header_state::bad;
  return found;
}

void write_null_entry(std::vector<uint8_t> &file, uint32_t offset, uint16_t size,
                      uint16_t prev_size, start_time now) {
  vesk_ehdr header{};
  header.uuid = VESK_OWN_UUID;
  header.type = VESK_NULL_ENTRY_TYPE;
  header.size = static_cast<uint16_t>(padded(size));
  header.prev_size = static_cast<uint16_t>(padded(prev_size));
  header.secs = now.secs;
  header.usecs = now.usecs;
  set_checksum(header);
  write_header(file, offset, header);

  // The zeros go as far as the padding of `size` before it is cut to the header's 16 bits.
  const size_t data = size_t{offset} + VESK_EHDR_SIZE;
  grow_to(file, data + padded(size));
  std::fill_n(file.begin() + static_cast<std::ptrdiff_t>(data), padded(size), uint8_t{0});
}

bool rewrite_prev_size(std::vector<uint8_t> &file, uint32_t offset, uint16_t prev_size) {
  found_header found = header_at(file, offset);
  if (found.state != header_state::good) return false;
  found.header.prev_size = prev_size;
  found.header.checksum = complement_of_sum(found.header);
  write_header(file, offset, found.header);
  return true;
}

void write_gheader(std::vector<uint8_t> &file, const ring_state &state) {
  vesk_gheader header{};
  std::memcpy(header.magic, VESK_MAGIC, sizeof header.magic);
  header.version = VESK_VERSION;
  header.max = state.max;
  header.start = state.start;
  header.end = state.end;
  set_checksum(header);
  write_header(file, 0, header);
}

}  // namespace vesk
