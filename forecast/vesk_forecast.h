// What the daemon's next first start would do with a log file, told from the file's bytes: the
// judgement of start-up and, where it leads there, the whole repair are played through on a copy.
//
// A first start is the first one after a boot, when no file is marked for repair yet. A daemon
// whose process died and was started again takes the files as they are. The flash is taken to work:
// what start-up does with files that it cannot read or write is not told here.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "reader/vesk_ring_walk.h"
#include "recovery/vesk_problem.h"

namespace vesk {

struct file_forecast {
  file_fate fate;

  // Where and why, unless it is kept: what start-up holds against the file.
  uint32_t offset;
  std::string reason;

  // Where it would be repaired but is removed after all: why the repair fails. Else empty.
  std::string repair_failure;

  // Entries that the chain reaches now, null entries not counted; whatever becomes of the file.
  uint32_t readable_before;

  // Of a file that is rebuilt.
  ring_state state;              // the global header that it gets
  uint32_t headers_rewritten;    // entry headers of which most cannot be read any more
  uint32_t nulls_added;          // null entries that cover damage
  uint32_t readable_after;       // entries that the chain reaches after the repair
  std::vector<uint8_t> rebuilt;  // the whole file after the repair

  // A marked kernel log with a sound header: the repairs end here, and files of higher types that
  // wait for theirs stay marked.
  bool ends_repairs;
};

// When the start happens: the time stamp of the null entries that a repair adds. Nothing else
// depends on it.
struct start_time {
  uint32_t secs;
  uint32_t usecs;
};

// Foretells the fate of the file of this type. `repairs_ended` says whether a file of a lower type
// in the same directory ends them. What the catalogue does not know is kept: start-up does not look
// for it.
file_forecast forecast(uint32_t file_type, ring_bytes image, bool repairs_ended,
                       start_time now = {});

// "keep", "rebuild", "remove", "stay marked".
std::string_view fate_name(file_fate fate);

}  // namespace vesk
