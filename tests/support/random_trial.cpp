#include "tests/support/random_trial.h"

#include <cstdlib>
#include <vector>

#include "tests/support/damage.h"
#include "tests/support/header_bytes.h"
#include "tests/support/rings.h"

namespace vesk::test {

namespace {

// Mostly the smallest file, in which everything happens soon; the kernel logs, which are treated
// differently; and one in which sizes do not fit into 16 bits any more.
uint32_t random_file_type(dice &dice) {
  const uint32_t percent = dice.below(100);
  return percent < 90 ? 7 : percent < 94 ? 21 : percent < 96 ? 22 : 6;
}

uint32_t shapes_of(uint32_t file_type) {
  return file_type == 7 ? 400 : 12;
}

void inflict_damage(trial &t, dice &dice) {
  for (uint32_t n = dice.one_of({0u, 1u, 1u, 1u, 2u, 2u, 3u}); n > 0; --n) {
    const uint32_t kind = dice.below(static_cast<uint32_t>(all_damage().size()) + 4);
    if (kind < all_damage().size()) {
      all_damage()[kind].inflict(t.file, capacity_of(t.file_type), dice);
    } else if (kind % 4 != 0) {
      t.file = torn_append(t.file_type, t.file, dice);
    } else {
      t.file = torn_sweep(t.file_type, t.file, dice.between(2, 3), dice);
    }
  }
}

// A record that updates is about an entry that there is; the last one found is one whose size may
// not be true.
void aim(record_fields &fields, const image &file, dice &dice) {
  const std::vector<uint32_t> entries = entry_offsets(file);
  if (entries.empty()) return;
  const uint32_t count = static_cast<uint32_t>(entries.size());
  const uint32_t at = entries[dice.one_in(2) ? count - 1 : dice.below(count)];
  const uint16_t uuid = get16(file, at);
  const uint16_t type = get16(file, at + 2);
  if (uuid == 0 || uuid > 2736 || type < 1024) return;  // no record can be about it
  fields.uuid = uuid;
  fields.type = type;
  fields.update = 1;
}

}  // namespace

trial random_trial(uint64_t seed) {
  dice dice(seed);
  trial t{};
  t.file_type = random_file_type(dice);
  t.first_step = dice.one_of(
      {opening::start, opening::restart, opening::sweep_1, opening::sweep_2, opening::sweep_3});
  t.file = grown_ring(t.file_type, dice.below(shapes_of(t.file_type)));
  inflict_damage(t, dice);
  t.first = random_record(t.file_type, dice);
  if (dice.one_in(4)) aim(t.first, t.file, dice);
  t.second = random_record(t.file_type, dice);
  return t;
}

std::optional<uint64_t> the_one_seed() {
  const char *seed = std::getenv("VESK_SEED");
  if (seed == nullptr) return std::nullopt;
  return std::strtoull(seed, nullptr, 10);
}

}  // namespace vesk::test
