#include "tests/property/random_directory.h"

#include <algorithm>
#include <utility>

#include "tests/support/damage.h"
#include "tests/support/header_bytes.h"
#include "tests/support/random_trial.h"
#include "tests/support/trial.h"

namespace vesk::test {

namespace {

constexpr uint32_t kernel_log = 21, kernel_big_log = 22;

// Puts an entry of so many bytes behind the file; `size` is without the header.
void add_entry(image &file, uint16_t type, uint32_t size, uint16_t prev_size, uint32_t secs) {
  const header_bytes header = entry_header({.uuid = type == 0 ? uint16_t{293} : uint16_t{77},
                                            .type = type,
                                            .size = static_cast<uint16_t>(size),
                                            .prev_size = prev_size,
                                            .secs = secs,
                                            .usecs = 0});
  file.insert(file.end(), header.begin(), header.end());
  file.insert(file.end(), size, 0xB5);
}

void write_gheader(image &file, uint32_t capacity, uint32_t start, uint32_t end) {
  const header_bytes header = global_header(capacity, start, end);
  std::copy(header.begin(), header.end(), file.begin());
}

// A ring that was written around at least once: the newest entries lie in front of the oldest. In
// some, each prev_size is already what a repair would make of it.
image full_ring(uint32_t capacity, dice &dice) {
  const uint32_t longest = std::max(capacity / dice.one_of({20u, 60u, 200u}), 60u);
  const uint32_t seam = dice.between(1, capacity - 4 * header_size);
  const bool chained = dice.one_in(2);
  image file(header_size);
  uint32_t start = 0, end = 0, prev_size = header_size, secs = 0x60000000;
  while (file.size() + 3 * header_size < capacity) {
    const auto at = static_cast<uint32_t>(file.size());
    if (end == 0 && at >= seam) {
      end = at;
      secs -= 1'000'000;
    } else if (end != 0 && start == 0) {
      start = at;
    }
    const uint32_t room = capacity - at - 2 * header_size;
    const uint32_t size = std::min(std::min(dice.below(longest), room), 60'000u) & ~3u;
    add_entry(file, static_cast<uint16_t>(dice.one_in(30) ? 0 : 1024 + dice.below(4)), size,
              static_cast<uint16_t>(chained ? prev_size : 0), secs);
    prev_size = size;
    secs += dice.below(3);
  }
  add_entry(file, 0, capacity - static_cast<uint32_t>(file.size()) - header_size,
            static_cast<uint16_t>(chained ? prev_size : 0), secs);
  if (start == 0) start = first_slot;
  if (end == 0) end = capacity;
  write_gheader(file, capacity, start, end);
  return file;
}

void inflict_damage(image &file, uint32_t capacity, dice &dice) {
  for (uint32_t n = dice.one_of({0u, 1u, 1u, 1u, 2u}); n > 0; --n) {
    const uint32_t kind = dice.below(static_cast<uint32_t>(all_damage().size()));
    all_damage()[kind].inflict(file, capacity, dice);
  }
}

// A kernel log of full size. What start-up minds in one is offsets without room, and all the files
// behind it depend on that; so it comes often.
image kernel_ring(dice &dice) {
  const uint32_t capacity = capacity_of(kernel_log);
  static const image sound = [] {
    vesk::test::dice always_the_same(1);
    return full_ring(capacity_of(kernel_log), always_the_same);
  }();
  image file = sound;
  if (dice.one_in(4)) file.resize(capacity + dice.between(1, 40));
  if (dice.one_in(2)) {
    write_gheader(file, capacity, dice.one_of({20u, capacity - 20, capacity - 4, capacity}),
                  dice.one_of({20u, 4000u, capacity, capacity + 4}));
  } else {
    inflict_damage(file, capacity, dice);
  }
  return file;
}

uint32_t any_type(dice &dice) {
  return dice.one_of({1u, 2u, 3u, 4u, 5u, 6u, 7u, 25u, 29u, 30u, 33u, 34u, 35u, 36u});
}

image any_ring(uint32_t file_type, dice &dice) {
  image file = full_ring(capacity_of(file_type), dice);
  inflict_damage(file, capacity_of(file_type), dice);
  return file;
}

}  // namespace

directory random_directory(uint64_t seed) {
  dice dice(seed);
  directory files;
  for (uint32_t n = dice.one_of({1u, 1u, 1u, 2u, 4u}); n > 0; --n) {
    if (dice.one_in(4)) {
      const uint32_t file_type = any_type(dice);
      files[file_type] = any_ring(file_type, dice);
    } else {
      trial t = random_trial(dice.any());
      files[t.file_type] = std::move(t.file);
    }
  }
  if (dice.one_in(50)) {
    files[dice.one_of({kernel_log, kernel_big_log})] = kernel_ring(dice);
    const uint32_t behind = dice.one_of({25u, 29u, 36u});
    files[behind] = any_ring(behind, dice);
  }
  return files;
}

}  // namespace vesk::test
