// One damaged log file, what is done to it, and the promises that hold whatever is in it:
//
//   - nothing runs for ever: each operation has an allowance of system calls, derived from the
//     limits that the walks have;
//   - no descriptor stays open but that of a marked kernel log at which the sweep ends;
//   - no write leaves the file's capacity but those that stray_write.h names;
//   - a start that repairs nothing writes nothing;
//   - after a sweep the file is gone, or its global header holds and names the right capacity, and
//     its mark is cleared;
//   - a record that is accepted lies in the file as it was sent, right before the new end, behind
//     which the next wrap finds room for a header; one that is refused costs the file, or leaves
//     its global header as it was for a reason that was logged; and where there is no file every
//     record goes that fits;
//   - a sound file beside it stays as it is.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/ram_flash.h"
#include "tests/support/record.h"

namespace vesk::test {

// What happens first. A daemon that is restarted after its process died trusts the files as they
// are; with any other mark than 3, the sweep repairs the entry headers alone.
enum class opening : uint8_t { start, restart, sweep_1, sweep_2, sweep_3 };

struct trial {
  uint32_t file_type;
  opening first_step;
  image file;
  record_fields first;   // logged after that;
  record_fields second;  // and this one after another start
};

// What the first step made of the file.
enum class treatment : uint8_t { left_alone, repaired, removed, left_marked };

struct trial_report {
  treatment what_became;
  uint32_t refused = 0;               // of the two records
  std::vector<std::string> broken;    // the promises that were, in words; none when all is well
  std::vector<const char *> strayed;  // the names of the writes beyond the capacity
  // Of the operation that came closest to its allowance: the calls that it made in a thousandth.
  uint32_t used = 0;
  std::string story;  // pictures of the file and the log lines, step by step
};

// The story is there where it is asked for, and wherever a promise was broken.
trial_report run_trial(const trial &trial, bool tell = false);

// The path of a type's file, and how large the file may become.
std::string path_of(uint32_t file_type);
uint32_t capacity_of(uint32_t file_type);

}  // namespace vesk::test
