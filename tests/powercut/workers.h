// The cases of a table, tried by several processes: what the daemon keeps between calls is there
// once in a process.
#pragma once

#include <cstddef>
#include <vector>

#include "tests/powercut/tally.h"

namespace vesk::test {

struct work_limits {
  size_t processes;
  size_t most_repairs;  // of each ring, see try_all_cuts()
  bool show_progress;   // on stderr
};

// Two rows for each case: its own, and that of its repairs if there are any. A process that came to
// no good end is reported as a failure in the case's row.
std::vector<named_tally> try_cases(const std::vector<case_plan> &plans, const work_limits &limits);

}  // namespace vesk::test
