// What the store's tests have in common.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "tests/support/faults.h"
#include "tests/support/log_file.h"
#include "tests/support/record.h"
#include "tests/support/recorder.h"
#include "tests/support/ring_builder.h"

namespace vesk::test {

// What an error code holds before a call; where it still does afterwards, the call stored nothing.
constexpr uint32_t untouched = 77;

class StoreTest : public ::testing::Test {
 protected:
  StoreTest() { platform.reset(); }

  // What was logged so far, and of that the errors alone.
  static const log_lines &logged() { return platform.history; }
  static log_lines errors() {
    log_lines found;
    for (const log_line &line : platform.history) {
      if (line.level == 101) found.push_back(line);
    }
    return found;
  }

  uint32_t code = untouched;
};

}  // namespace vesk::test
