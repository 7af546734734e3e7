// Any bytes as a log file: a start or a sweep, a record, another start, another record. The
// promises are those of the random damage in tests/property; where one is broken, the story is
// printed and the process aborts.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

#include "tests/fuzz/image_input.h"
#include "tests/support/trial.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  // What the recording platform finds wrong with a call counts as well.
  GTEST_FLAG_SET(break_on_failure, true);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const vesk::test::trial_report found =
      vesk::test::run_trial(vesk::test::trial_of_input(std::span(data, size)));
  if (found.broken.empty()) return 0;
  std::fputs(found.story.c_str(), stderr);
  for (const std::string &broken : found.broken) std::fprintf(stderr, "%s\n", broken.c_str());
  std::abort();
}
