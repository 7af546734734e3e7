// Which entries a log file holds, and which of them an operation gives up by itself.
#pragma once

#include <cstdint>
#include <unordered_set>
#include <vector>

#include "tests/powercut/power_cut.h"
#include "tests/support/record.h"

namespace vesk::test {

// What the sender gave and a reader gets back: header fields and data. `prev_size` and checksum do
// not count: they are the ring's.
using entry_id = uint64_t;
using entry_ids = std::unordered_set<entry_id>;

entry_id id_of(const record_fields &fields);

struct entry_place {
  entry_id id;
  uint32_t offset;
  uint32_t span;  // with the header
};

// The entries that the chain reaches, null entries left out, the oldest first.
std::vector<entry_place> readable_entries(const maybe_image &file, uint32_t capacity);

entry_ids ids_of(const std::vector<entry_place> &entries);

// Adds what a search of the whole file finds, in whatever state, as long as the data are complete.
void add_salvaged(const maybe_image &file, uint32_t capacity, entry_ids &found);

// What lies at the place that an entry had. The id does not fit where the file ends before.
entry_id id_at(const image &file, const entry_place &place);
bool header_holds_at(const image &file, uint32_t offset);

// Whether the place lies in the stretch from start to end of the global header.
bool is_live(const image &file, uint32_t offset);

// Whether an operation discards the entry to make room: it writes over it; or the entry is in the
// ring before the operation and no more behind it.
bool is_discarded(const entry_place &entry, const maybe_image &before, const maybe_image &after,
                  const std::vector<flash_write> &writes);

}  // namespace vesk::test
