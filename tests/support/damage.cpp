#include "tests/support/damage.h"

#include <algorithm>
#include <utility>

#include "tests/support/header_bytes.h"

namespace vesk::test {

namespace {

uint32_t size_of(const image &file) {
  return static_cast<uint32_t>(file.size());
}

std::span<uint8_t> header_at(image &file, uint32_t offset) {
  return std::span(file).subspan(offset, header_size);
}

// The offset of some entry header; 0 when there is none.
uint32_t some_entry(const image &file, dice &dice) {
  const std::vector<uint32_t> offsets = entry_offsets(file);
  return offsets.empty() ? 0 : offsets[dice.below(static_cast<uint32_t>(offsets.size()))];
}

void flip_bits(std::span<uint8_t> bytes, dice &dice) {
  for (uint32_t n = dice.between(1, 3); n > 0; --n) {
    bytes[dice.below(static_cast<uint32_t>(bytes.size()))] ^=
        static_cast<uint8_t>(1 << dice.below(8));
  }
}

void fill_with_noise(std::span<uint8_t> bytes, dice &dice) {
  for (uint8_t &byte : bytes) byte = dice.byte();
}

void flip_bits_of_gheader(image &file, uint32_t, dice &dice) {
  if (file.size() >= header_size) flip_bits(header_at(file, 0), dice);
}

void flip_bits_of_entry(image &file, uint32_t, dice &dice) {
  if (const uint32_t at = some_entry(file, dice)) flip_bits(header_at(file, at), dice);
}

void flip_bits_anywhere(image &file, uint32_t, dice &dice) {
  if (!file.empty()) flip_bits(file, dice);
}

// Stretches of all lengths, those around the limits of what can be repaired among them, and mostly
// where a writer that was cut short would leave them.
void noise_over_stretch(image &file, uint32_t, dice &dice) {
  if (file.size() <= header_size) return;
  const uint32_t from = dice.one_in(2) ? dice.between(header_size, size_of(file) - 1) & ~3u
                                       : std::max(some_entry(file, dice), header_size);
  const uint32_t wanted =
      dice.one_of({dice.between(1, 10) * 4, dice.between(1, 70), dice.between(10, 400) * 4,
                   dice.between(1000, 2100) * 4, 4096u, 5120u, 8192u});
  fill_with_noise(std::span(file).subspan(from, std::min(wanted, size_of(file) - from)), dice);
}

void cut_short(image &file, uint32_t, dice &dice) {
  if (!file.empty()) file.resize(dice.below(size_of(file)));
}

void cut_a_little(image &file, uint32_t, dice &dice) {
  file.resize(size_of(file) - std::min(size_of(file), dice.between(1, 60)));
}

// More bytes behind the file: noise, or a header that holds.
void lengthen(image &file, uint32_t, dice &dice) {
  const uint32_t old_size = size_of(file);
  file.resize(old_size + dice.between(1, 80));
  const std::span<uint8_t> tail = std::span(file).subspan(old_size);
  fill_with_noise(tail, dice);
  if (tail.size() < header_size || dice.one_in(2)) return;
  put16(tail, 4, static_cast<uint16_t>(dice.below(20)));
  complete_sum(tail);
}

// An offset as a global header may name it: among them all that a check looks for.
uint32_t some_offset(const image &file, uint32_t capacity, dice &dice) {
  if (dice.one_in(3)) return some_entry(file, dice);
  return dice.one_of({0u,
                      4u,
                      16u,
                      20u,
                      24u,
                      40u,
                      capacity - 24,
                      capacity - 20,
                      capacity - 16,
                      capacity - 4,
                      capacity - 1,
                      capacity,
                      capacity + 4,
                      capacity + 20,
                      size_of(file),
                      size_of(file) - 20,
                      dice.below(capacity),
                      dice.below(capacity) & ~3u,
                      0x7FFFFFFFu,
                      0x80000000u,
                      0xFFFFFFF0u,
                      dice.word()});
}

void change_gheader(image &file, uint32_t capacity, dice &dice) {
  if (file.size() < header_size) return;
  const std::span<uint8_t> header = header_at(file, 0);
  if (dice.one_in(8)) header[4] = dice.byte();
  if (dice.one_in(4)) put32(header, 8, some_offset(file, capacity, dice));
  if (dice.one_in(2)) put32(header, 12, some_offset(file, capacity, dice));
  if (dice.one_in(2)) put32(header, 16, some_offset(file, capacity, dice));
  complete_sum(header);
}

void change_entry(image &file, uint32_t capacity, dice &dice) {
  const uint32_t at = some_entry(file, dice);
  if (at == 0) return;
  const std::span<uint8_t> header = header_at(file, at);
  switch (dice.below(6)) {
    case 0:
      put16(header, 2, dice.one_of<uint16_t>({0, 0, 1024, 1023, 65535}));
      break;
    case 1:
    case 5:
      put16(header, 4,
            static_cast<uint16_t>(dice.one_of(
                {0u, 4u, 20u, capacity - at, capacity - at - 20, capacity - at - 24,
                 capacity - at - 40, 65532u, dice.below(2000) * 4, dice.below(200), dice.word()})));
      break;
    case 2:
      put32(header, 12, dice.one_of({0u, 0xFFFFFFFFu, dice.word()}));
      break;
    case 3:
      put32(header, 16, dice.one_of({0u, 0xFFFFFFFFu, dice.word()}));
      break;
    default:
      put16(header, 10, static_cast<uint16_t>(dice.word()));
      break;
  }
  complete_sum(header);
}

// A header that holds whose checksum word is 0x0000 or 0xFFFF still holds when its prev_size is
// rewritten, other than all the rest.
void make_rewritable(image &file, uint32_t, dice &dice) {
  const std::vector<uint32_t> offsets = entry_offsets(file);
  const uint32_t share = dice.between(1, 4);
  for (const uint32_t at : offsets) {
    if (!dice.one_in(share)) continue;
    const std::span<uint8_t> header = header_at(file, at);
    put16(header, 6, dice.one_of<uint16_t>({0x0000, 0xFFFF}));
    complete_sum(header, 18);
  }
}

void rewrite_every_prev_size(image &file, uint32_t, dice &dice) {
  const bool right = !dice.one_in(4);
  uint16_t before = 20;
  for (const uint32_t at : entry_offsets(file)) {
    const std::span<uint8_t> header = header_at(file, at);
    const uint16_t size = get16(header, 4);
    put16(header, 10, right ? before : static_cast<uint16_t>(dice.word()));
    complete_sum(header);
    before = size;
  }
}

void swap_pieces(image &file, uint32_t, dice &dice) {
  if (file.size() < 100) return;
  const uint32_t length = dice.between(1, std::min(size_of(file) / 3, 600u)) & ~3u;
  const uint32_t a = dice.below(size_of(file) - 2 * length) & ~3u;
  const uint32_t b = dice.between(a + length, size_of(file) - length);
  std::swap_ranges(file.begin() + a, file.begin() + a + length, file.begin() + b);
}

// As if the writer had died before the entry's data, or had written them elsewhere.
void move_a_header(image &file, uint32_t, dice &dice) {
  const uint32_t from = some_entry(file, dice);
  if (from == 0) return;
  const uint32_t to = dice.between(0, size_of(file) - header_size);
  std::copy_n(image(file).begin() + from, header_size, file.begin() + (to & ~3u));
}

// A little noise in front of a header that has made way for it, and whose size may not be true.
void push_a_header_on(image &file, uint32_t capacity, dice &dice) {
  const uint32_t at = some_entry(file, dice);
  const uint32_t way = dice.between(1, 6) * 4;
  if (at == 0 || at + way + header_size > file.size()) return;
  std::copy_backward(file.begin() + at, file.begin() + at + header_size,
                     file.begin() + at + way + header_size);
  fill_with_noise(std::span(file).subspan(at, way), dice);
  if (dice.one_in(2)) return;
  const std::span<uint8_t> header = header_at(file, at + way);
  put16(header, 4, static_cast<uint16_t>(capacity - at + dice.below(40)));
  complete_sum(header);
}

void noise_instead(image &file, uint32_t capacity, dice &dice) {
  const gheader_fields old = gheader_of(file);
  file.resize(dice.below(std::min(capacity, 9000u)));
  fill_with_noise(file, dice);
  if (file.size() < header_size || dice.one_in(4)) return;
  const uint32_t start = dice.one_in(2) ? old.start : 20;
  const uint32_t end = dice.one_in(2) ? old.end : size_of(file);
  const header_bytes header = global_header(capacity, start, end);
  std::copy(header.begin(), header.end(), file.begin());
}

constexpr damage kinds[] = {
    {"bits of the global header flipped", flip_bits_of_gheader},
    {"bits of an entry header flipped", flip_bits_of_entry},
    {"bits flipped anywhere", flip_bits_anywhere},
    {"noise over a stretch", noise_over_stretch},
    {"cut short", cut_short},
    {"cut by a few bytes", cut_a_little},
    {"lengthened", lengthen},
    {"global header changed", change_gheader},
    {"entry header changed", change_entry},
    {"headers with an idle checksum word", make_rewritable},
    {"every prev_size rewritten", rewrite_every_prev_size},
    {"pieces swapped", swap_pieces},
    {"a header copied elsewhere", move_a_header},
    {"a header pushed on", push_a_header_on},
    {"noise instead of the file", noise_instead},
};

}  // namespace

std::vector<uint32_t> entry_offsets(const image &file) {
  std::vector<uint32_t> offsets;
  for (uint32_t at = first_slot; at + header_size <= size_of(file) && sum_holds(&file[at]);
       at += header_size + get16(file, at + 4)) {
    offsets.push_back(at);
  }
  return offsets;
}

std::span<const damage> all_damage() {
  return kinds;
}

}  // namespace vesk::test
