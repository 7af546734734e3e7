// What many faults came to: a table for people, and a picture of each that went otherwise than
// expected.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/faults/trial.h"

namespace vesk::test {

// One fault in words: "the 3rd write fails with ENOSPC, once".
std::string in_words(const fault_point &point, const failure &failure, lasting lasts);

// The fault in words; the events, with an arrow at the failed call; where they differ, those
// expected and those found; and the promises that were broken.
std::string picture_of(const workload &workload, const fault_point &point, const failure &failure,
                       lasting lasts, const trial_result &result);

// A row of the table.
struct fault_count {
  std::string name;  // workload and kind of call
  uint64_t faults = 0;
  uint64_t effects[4] = {};
  uint64_t remounts = 0, refused_next = 0;
  uint64_t broken = 0;

  void add(const trial_result &result);
  void add(const fault_count &other);
};

std::string as_table(const std::vector<fault_count> &rows);

struct report {
  std::vector<fault_count> rows;
  std::vector<std::string> complaints;  // pictures of the first few faults of each workload
  uint64_t broken = 0;                  // faults, and tables
};

// Tries all faults of a workload.
void try_all_faults(const workload &workload, extent extent, report &to);

}  // namespace vesk::test
