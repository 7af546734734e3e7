#include "tests/soak/plan.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace vesk::soak {
namespace {

constexpr uint32_t mark = 0x4B414F53;

struct label {
  uint32_t mark;
  uint32_t sender;
  uint32_t number;
  uint32_t length;
};
static_assert(sizeof(label) == shortest_record);

uint64_t mixed(uint64_t seed, uint64_t sender, uint64_t number) {
  return seed * 0x9E3779B97F4A7C15 ^ (sender << 40) ^ (number + 1) * 0xBF58476D1CE4E5B9;
}

// One in five has any length up to the longest, the others up to a tenth of it.
uint32_t any_length(wishes &dice, uint32_t longest) {
  const uint32_t bound = dice.below(5) == 0 ? longest : longest / 10;
  return shortest_record + dice.below(std::max(bound, shortest_record + 1u) - shortest_record);
}

}  // namespace

uint64_t number_of(const part &of) {
  uint64_t number = 0;
  for (const char c : of.name) number = number * 131 + static_cast<uint8_t>(c);
  return number;
}

const volume &volume_of(const part &of, uint16_t file_type) {
  for (const volume &v : of.volumes) {
    if (v.file_type == file_type) return v;
  }
  throw std::out_of_range("no such volume");
}

wishes::wishes(const part &of, uint64_t seed, uint32_t sender)
    : part_(of), random_(mixed(seed, sender, number_of(of))), left_(of.records) {
  for (const volume &v : of.volumes) {
    room_.push_back((v.capacity - VESK_GHEADER_SIZE - space_for(v.longest)) / of.senders);
  }
}

uint32_t wishes::below(uint32_t bound) {
  return static_cast<uint32_t>(random_() % bound);
}

bool wishes::next(wish &made) {
  if (left_ == 0) return false;
  --left_;
  uint32_t total = 0;
  for (const volume &v : part_.volumes) total += v.weight;
  uint32_t chosen = below(total);
  size_t index = 0;
  while (chosen >= part_.volumes[index].weight) chosen -= part_.volumes[index++].weight;
  const bool keyed = below(10) == 0;
  const uint32_t luck = below(100);
  const uint16_t length =
      keyed ? keyed_length : static_cast<uint16_t>(any_length(*this, part_.volumes[index].longest));
  const volume *in = volume_with_room(index, span_of(length));
  if (in == nullptr) return false;
  const uint8_t unless_asked = keyed ? 1 : 0;
  made = {.file_type = in->file_type,
          .length = std::min(length, in->longest),
          .sync = luck < 3 ? uint8_t{2} : (luck < 75 ? uint8_t{1} : unless_asked),
          .keyed = keyed};
  return true;
}

// From the wanted volume on, the first that can take it.
const volume *wishes::volume_with_room(size_t wanted, uint32_t span) {
  if (part_.wraps) return &part_.volumes[wanted];
  for (size_t i = 0; i < room_.size(); ++i) {
    const size_t index = (wanted + i) % room_.size();
    if (room_[index] < span) continue;
    room_[index] -= span;
    return &part_.volumes[index];
  }
  return nullptr;
}

std::vector<uint8_t> content_of(uint64_t seed, uint32_t sender, uint32_t number, uint16_t length) {
  std::vector<uint8_t> data(std::max<size_t>(length, sizeof(label)));
  const label front{mark, sender, number, length};
  std::memcpy(data.data(), &front, sizeof front);
  uint64_t state = mixed(seed, sender, number) | 1;
  for (size_t i = sizeof front; i < data.size(); ++i) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    data[i] = static_cast<uint8_t>(state >> 32);
  }
  return data;
}

bool author_of(const uint8_t *data, size_t size, author &who) {
  label front{};
  if (size < sizeof front) return false;
  std::memcpy(&front, data, sizeof front);
  if (front.mark != mark) return false;
  who = {front.sender, front.number};
  return true;
}

}  // namespace vesk::soak
