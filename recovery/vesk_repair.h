// The repair of one marked file.
#pragma once

#include <cstdint>

#include "recovery/vesk_problem.h"
#include "store/vesk_file_info.h"

namespace vesk {

struct repair_result {
  // rebuild: it is repaired. remove: it cannot be, and has to be removed. stay_marked: it is a
  // kernel log with a sound header, at which the repairs end.
  file_fate fate;

  // Of a repair that rebuilds the global header: why it fails, the ring that it comes to, and what
  // it changes on the way.
  finding failure = {};
  uint32_t start = 0;
  uint32_t end = 0;
  uint32_t headers_rewritten = 0;
  uint32_t nulls_added = 0;
};

// Looks at the global header of an open file again, and repairs what its mark says, which is not
// clean: mark 3 rebuilds the global header, any other mark repairs the entry headers. Repairs made
// before a failure stay.
repair_result repair_file(uint32_t file_type, uint32_t mark, int32_t fd, const file_info &file);

}  // namespace vesk
