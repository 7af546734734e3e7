// Every power cut of a case, tried one after the other.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/powercut/cases.h"
#include "tests/powercut/course.h"
#include "tests/powercut/tally.h"

namespace vesk::test {

// Names a cut: which of the case's rings, which cut of the operation, and which of the start's
// repair that follows, if it is one of those: "0:417" or "0:417:35".
struct cut_name {
  uint32_t variant = 0;
  size_t cut = 0;
  std::optional<size_t> repair_cut;
};

std::string as_text(const cut_name &name);
std::optional<cut_name> cut_name_of(const std::string &text);

// What a cut of either kind leaves. Throws std::out_of_range where the case has no such cut.
struct named_cut {
  operation_run run;
  power_cut cut;
  cut_state state;
  std::vector<flash_write> repair;  // the writes of the start that was cut, if it is one of those
};
named_cut find_cut(daemon_in_memory &daemon, const power_case &c, const cut_name &name);

struct both_tallies {
  tally cuts;         // during the operation
  tally repair_cuts;  // during the repair of what such a cut left
};

// Where there are too many cuts in any order, see cuts_of() in the source, some are left out.
// Repairs of the same writes count as one, and of many different ones, `most_repairs` that are
// spread evenly are cut. `tried` is called for each cut.
both_tallies try_all_cuts(const case_plan &plan, uint32_t variant, size_t most_repairs,
                          const std::function<void()> &tried);

}  // namespace vesk::test
