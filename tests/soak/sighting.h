// What log files show: records that were sent like that, and entries that were not.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "reader/vesk_ring_walk.h"
#include "tests/soak/ledger.h"
#include "tests/soak/plan.h"

namespace vesk::soak {

// An entry of a chain that is, byte for byte, no record that anybody sent to this file.
struct untrue_entry {
  uint32_t offset;
  uint16_t uuid;
  uint16_t type;
  uint32_t secs;
  uint32_t usecs;

  auto operator<=>(const untrue_entry &) const = default;
};

enum class condition : uint8_t {
  absent,
  stub,   // it ends within the global header: made, but nothing was ever in it
  sound,  // the chain is whole, and a first start would leave the file alone
  damaged,
};

struct sighting {
  condition found = condition::absent;
  bool full = false;               // it has its whole capacity, as a ring that has wrapped
  std::string reason = {};         // of the damage
  std::vector<author> shown = {};  // the records that the chain leads to, in its order
  std::vector<untrue_entry> untrue = {};
};

// The record that an entry of this file is, if somebody sent it like that.
bool was_sent(const ring_entry &entry, uint16_t file_type, const ledger &notes, author &who);

sighting look_at(ring_bytes image, const volume &of, const ledger &notes);

// The whole records that a search of the file finds, whatever the chain says.
std::vector<author> search(ring_bytes image, const volume &of, const ledger &notes);

}  // namespace vesk::soak
