// What the daemon's next first start would do with a log file, told from the file's bytes: the
// daemon's own examination and, where it leads there, its own repair work on a copy in memory.
//
// A first start is the first one after a boot, when no file is marked for repair yet. A daemon
// whose process died and was started again takes the files as they are. The flash is taken to work:
// what start-up does with files that it cannot read or write is not predicted.
//
// The code of the daemon calls its platform. A program chooses at its link which one that is:
// vesk_idle_platform wants nothing and does nothing.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "base/vesk_failure.h"
#include "format/vesk_format.h"
#include "reader/vesk_ring_walk.h"
#include "recovery/vesk_problem.h"

namespace vesk {

struct file_forecast {
  file_fate fate;

  // What start-up holds against the file, unless it is kept.
  finding objection;

  // Where it would be repaired but is removed after all: why the repair fails.
  finding repair_failure;

  // What these are about: the global header, as far as it is there, and what the catalogue says.
  // Zeros for a type that the catalogue does not know, as everything below.
  vesk_gheader header;
  uint32_t size;
  uint32_t capacity;

  // Entries that the chain reaches now, null entries not counted; whatever becomes of the file.
  uint32_t readable_before;

  // Of a file that is rebuilt.
  ring_state state;              // the global header; where a repair fails in the end, its start
  uint32_t headers_rewritten;    // entry headers of which most cannot be read any more
  uint32_t nulls_added;          // null entries that cover damage
  uint32_t readable_after;       // entries that the chain reaches after the repair
  std::vector<uint8_t> rebuilt;  // the whole file after the repair

  // A marked kernel log with a sound header: the repairs end here, and files of higher types that
  // wait for theirs stay marked.
  bool ends_repairs;
};

// Predicts the fate of the file of this type. `repairs_ended` says whether a file of a lower type
// in the same directory ends them. What the catalogue does not know is kept: start-up does not look
// for it.
//
// Fails where there can be no copy in memory; nothing is predicted then. Keeps errno.
failure forecast(uint32_t file_type, ring_bytes image, bool repairs_ended,
                 file_forecast &ret_predicted);

// "keep", "rebuild", "remove", "stay marked".
std::string_view fate_name(file_fate fate);

}  // namespace vesk
