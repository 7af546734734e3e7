// What the tests of the recovery have in common.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>

#include "tests/support/faults.h"
#include "tests/support/log_file.h"
#include "tests/support/recorder.h"
#include "tests/support/ring_builder.h"

namespace vesk::test {

// The time at which null entries are written, where a test fixes it.
constexpr int64_t clock_now = 0x60000000;

// What a word holds before a call; where it still does afterwards, the call stored nothing.
constexpr uint32_t untouched = 77;

// Every test begins like a new process on a mounted flash, with an errno that no call leaves.
class RecoveryTest : public ::testing::Test {
 protected:
  RecoveryTest();
  ~RecoveryTest() override;

  // What was logged so far, and of that the errors alone.
  static const log_lines &logged() { return platform.history; }
  static log_lines errors();

  static uint32_t remounts();
};

// What was logged and called so far, in one order, and what the system was asked for. The path of
// the file of type 7 reads "FILE", in errors() too.
lines journal();
std::string journal(const fault_plan &faults);

// An entry that names the size of the one before it, as the repair wants it.
entry_fields linked(uint16_t type, uint16_t size, uint16_t prev_size);

// An entry whose checksum word is zero: the only kind that still holds when its `prev_size` was
// rewritten once.
entry_fields lasting(uint16_t type, uint16_t size, uint16_t prev_size);

// Headers at 20, 48 and 76; the file ends at 104.
ring three_linked_entries();

// A damaged stretch from 80 on, and behind it an entry.
ring damaged_at_80(uint32_t count);

// Adds so many entries without data. No two have the same microseconds, or twenty bytes across both
// of their headers would sum up like one.
ring headers(ring to, uint32_t count);

// Everything behind the global header up to the file's end, in the words of log_file::picture(),
// whatever the global header says. It opens and closes a file of its own: look at a fault plan's
// journal first.
std::string contents(const log_file &file);

// One line for each step of four from `first` to `last`: "ERROR: Bad ehdr at offset 80\n".
log_lines bad_headers(uint32_t first, uint32_t last);

// One seek and one read for each of the headers, and nothing else.
std::string looks_at(std::initializer_list<uint32_t> offsets);

}  // namespace vesk::test
