// What happens after a power cut, and what is lost by it.
//
// The daemon starts, serves the next record, and starts once more; each time as after a boot, so
// that it judges the file. Every entry that could be read before the cut is followed on its way,
// but those that the ring itself discards to make room.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "forecast/vesk_forecast.h"
#include "tests/powercut/cases.h"
#include "tests/powercut/daemon_in_memory.h"

namespace vesk::test {

// An operation that nothing interrupts.
struct operation_run {
  std::vector<flash_write> writes;
  std::vector<size_t> ends;  // how many of them had been made when each record was stored
  bool in_order;             // each reaches the flash before the next is made
  maybe_image after;

  std::vector<entry_place> kept;           // readable before it, and not discarded by it
  std::vector<entry_place> own;            // of each record of it; of span 0 where it was refused
  std::vector<entry_place> made_readable;  // after it, its own among them
};

operation_run run_uncut(daemon_in_memory &daemon, const power_case &c);

// The entries that could be read before the cut: those that the operation keeps; its own as soon as
// all of their writes are on the flash; and after the last one whatever it made readable.
std::vector<entry_place> entries_at(const operation_run &run, const power_cut &cut);

// What the cut left.
struct cut_state {
  maybe_image file;
  std::vector<entry_place> entries;  // that must not be lost
  std::vector<maybe_image> copies;   // that were preserved before earlier starts
};

struct course {
  file_forecast first_forecast;
  daemon_step first;
  daemon_step next;
  bool served_again;  // where the next record was refused: whether it is accepted when it comes
                      // again
  file_forecast second_forecast;
  daemon_step second;
};

course take_course(daemon_in_memory &daemon, const power_case &c, const maybe_image &file);

// Before a start, the file is copied where the forecast says that the start would touch it.
bool is_preserved(const file_forecast &predicted);

struct losses {
  uint32_t entries = 0;      // that must not be lost
  uint32_t first = 0;        // not to be read after the first start,
  uint32_t second = 0;       // after the second, the next record among them, where the ring has not
                             // discarded them for that one,
  uint32_t with_search = 0;  // nor found by a search of the file that the first start left,
  uint32_t with_copy = 0;    // nor, after either start, by a search of that file and the copies
  uint32_t untrue = 0;       // entries shown after the first start that nobody sent like that
  bool second_changed = false;  // by the second start: the file was written to,
  bool second_removed = false;  // or removed
  bool refused = false;         // the next record, which is then accepted the second time
  std::map<std::string, uint32_t> causes = {};
  std::vector<std::string> failures = {};  // of what is always promised
};

losses losses_of(const power_case &c, const cut_state &state, const course &course);

}  // namespace vesk::test
