// Fifty thousand damaged files, and what is promised whatever they hold.
//
// Each belongs to a number. With VESK_SEED=<number> in the environment that one case runs alone and
// tells its story: the file before and after each step, and the daemon's log lines.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <optional>
#include <string>

#include "tests/support/header_bytes.h"
#include "tests/support/random_trial.h"
#include "tests/support/stray_write.h"
#include "tests/support/trial.h"

namespace vesk::test {
namespace {

constexpr uint64_t cases = 50'000;

struct totals {
  std::map<treatment, uint32_t> treated;
  std::map<std::string, uint32_t> strays;
  uint32_t refused = 0;
  uint32_t used = 0;
};

// Each way a case can end has to occur, or the cases are not what they are meant to be.
void expect_variety(totals &t) {
  EXPECT_GT(t.treated[treatment::left_alone], cases / 100);
  EXPECT_GT(t.treated[treatment::repaired], cases / 100);
  EXPECT_GT(t.treated[treatment::removed], cases / 100);
  EXPECT_GT(t.treated[treatment::left_marked], cases / 1000);
  EXPECT_GT(t.refused, cases / 100);
  for (const char *name : excuses()) EXPECT_GT(t.strays[name], 0u) << name;
}

void tell(totals &t) {
  std::cout << "  left alone " << t.treated[treatment::left_alone] << ", repaired "
            << t.treated[treatment::repaired] << ", removed " << t.treated[treatment::removed]
            << ", left marked " << t.treated[treatment::left_marked] << "; records refused "
            << t.refused << "; at most " << t.used << " thousandths of the calls allowed\n";
  for (const auto &[name, count] : t.strays) {
    std::cout << "  " << count << " times beyond the capacity: " << name << "\n";
  }
}

TEST(RandomDamage, promises_hold) {
  if (const auto seed = the_one_seed()) {
    const trial_report found = run_trial(random_trial(*seed), true);
    std::cout << found.story;
    for (const std::string &broken : found.broken) ADD_FAILURE() << broken;
    return;
  }
  totals totals;
  uint32_t failures = 0;
  for (uint64_t seed = 1; seed <= cases && failures < 10; ++seed) {
    SCOPED_TRACE("VESK_SEED=" + std::to_string(seed));
    const trial_report found = run_trial(random_trial(seed));
    for (const std::string &broken : found.broken) {
      ADD_FAILURE() << broken << "\n" << found.story;
    }
    if (!found.broken.empty()) ++failures;
    ++totals.treated[found.what_became];
    totals.refused += found.refused;
    totals.used = std::max(totals.used, found.used);
    for (const char *name : found.strayed) ++totals.strays[name];
  }
  tell(totals);
  if (failures == 0) expect_variety(totals);
}

TEST(RandomDamage, a_number_always_gives_the_same_case) {
  for (const uint32_t seed : {1u, 2u, 3u, 4711u}) {
    const trial once = random_trial(seed);
    const trial again = random_trial(seed);
    EXPECT_EQ(once.file, again.file);
    EXPECT_EQ(once.first_step, again.first_step);
    EXPECT_EQ(run_trial(once, true).story, run_trial(again, true).story);
  }
}

}  // namespace
}  // namespace vesk::test
