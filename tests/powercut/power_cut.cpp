#include "tests/powercut/power_cut.h"

#include <algorithm>
#include <stdexcept>

namespace vesk::test {

namespace {

constexpr size_t most_writes = 16;  // there are 2^n selections of n writes

void write_some(maybe_image &file, const flash_write &write, size_t count) {
  if (!file) file.emplace();
  if (count == 0) return;
  file->resize(std::max(file->size(), write.offset + count));
  std::copy_n(write.bytes.begin(), count, file->begin() + write.offset);
}

uint64_t first_writes(size_t count) {
  return (uint64_t{1} << count) - 1;
}

}  // namespace

bool is_whole(const power_cut &cut, size_t first, size_t end) {
  const uint64_t wanted = first_writes(end) & ~first_writes(first);
  return (cut.whole & wanted) == wanted;
}

std::vector<power_cut> cuts_in_order(const std::vector<flash_write> &writes) {
  if (writes.size() >= 64) throw std::length_error("too many writes to count them in a word");
  std::vector<power_cut> cuts{{0, 0, 0}};
  for (size_t i = 0; i < writes.size(); ++i) {
    for (size_t n = 1; n < writes[i].bytes.size(); ++n) cuts.push_back({first_writes(i), i, n});
    cuts.push_back({first_writes(i + 1), i + 1, 0});
  }
  return cuts;
}

std::vector<power_cut> cuts_in_any_order(const std::vector<flash_write> &writes) {
  if (writes.size() > most_writes) throw std::length_error("too many writes to try all selections");
  std::vector<power_cut> cuts;
  for (uint64_t whole = 0; whole <= first_writes(writes.size()); ++whole) {
    cuts.push_back({whole, 0, 0});
    for (size_t i = 0; i < writes.size(); ++i) {
      if ((whole >> i & 1) != 0) continue;
      for (size_t n = 1; n < writes[i].bytes.size(); ++n) cuts.push_back({whole, i, n});
    }
  }
  return cuts;
}

maybe_image after_cut(const maybe_image &before, const std::vector<flash_write> &writes,
                      const power_cut &cut) {
  maybe_image file = before;
  for (size_t i = 0; i < writes.size(); ++i) {
    if ((cut.whole >> i & 1) != 0) write_some(file, writes[i], writes[i].bytes.size());
  }
  if (cut.bytes > 0) write_some(file, writes[cut.torn], cut.bytes);
  return file;
}

}  // namespace vesk::test
