// One part of a run from an empty flash to the last look at it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/soak/audit.h"
#include "tests/soak/plan.h"
#include "tests/soak/service.h"

namespace vesk::soak {

struct course_result {
  std::string name;
  tally sums;
  uint64_t sent = 0;
  uint64_t bytes = 0;  // of data
  uint32_t boots = 0;
  int copied = 0;  // starts before which something was copied
  double seconds = 0;
  most_used used;
  std::vector<std::string> hits;
  std::vector<std::string> failures;
  uint64_t failure_count = 0;
};

using progress = std::function<void(const std::string &)>;

// Replaces all that is in the log directory. Throws std::runtime_error when the daemon or a sender
// does not do its work at all.
course_result run_part(const part &of, uint64_t seed, const progress &tell);

}  // namespace vesk::soak
