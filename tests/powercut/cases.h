// The rings and the operations during which the power goes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/powercut/ledger.h"
#include "tests/powercut/power_cut.h"
#include "tests/support/record.h"

namespace vesk::test {

enum class ring_shape : uint8_t {
  no_file,
  fresh,     // a third full, never wrapped
  wrapping,  // never wrapped; the next record needs the null entry at the tail, and wraps
  roomy,     // wrapped many times; the next record goes over entries that were given up long ago
  full,      // wrapped many times; the next record needs the room of the oldest entries
  turning,   // wrapped many times; the next record wraps again
  damaged,   // like `full`, and the second oldest entry's header and first data are damaged
};

enum class operation_kind : uint8_t {
  append,
  append_sync,  // the sender waits for the flash: writes reach it one by one
  append_twice,
  update_same,        // the last of several matching entries, with data of the same size
  update_first,       // the first of them: instance 1
  update_second,      // the second: instance 2
  update_smaller_8,   // what is left of the old data is too short for a null entry,
  update_smaller_24,  // or long enough
  update_larger,      // than the entry: it is refused
};

// What a ring is filled with, at random, from the shortest data to the longest.
struct filling {
  const char *name;
  uint32_t file_type;
  uint32_t shortest;
  uint32_t longest;
};

struct case_plan {
  std::string name;
  filling records;
  ring_shape shape;
  operation_kind operation;
  uint16_t length;    // of the operation's records, unless they are updates
  uint32_t variants;  // how many rings are filled, each with other records
};

struct power_case {
  uint32_t file_type;
  uint32_t capacity;
  maybe_image before;
  std::vector<record_fields> operation;  // one record after the other
  record_fields next;                    // which is sent after the start
  entry_ids sent;                        // all that was ever sent, these records included
};

enum class extent : uint8_t { quick, full };

std::vector<case_plan> planned_cases(extent extent);

// Always the same one for a plan and a variant.
power_case make_case(const case_plan &plan, uint32_t variant);

}  // namespace vesk::test
