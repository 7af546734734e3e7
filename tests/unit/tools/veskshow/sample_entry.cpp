#include "tests/unit/tools/veskshow/sample_entry.h"

namespace vesk::test {

using namespace shared;
using namespace veskshow;

std::string shown_as(output_format format, const sample &what, const look &how) {
  const ring_entry entry{
      .offset = what.offset,
      .uuid = what.uuid,
      .type = what.type,
      .flags = what.flags,
      .prev_size = what.prev_size,
      .secs = what.secs,
      .usecs = what.usecs,
      .data = {reinterpret_cast<const uint8_t *>(what.data.data()), what.data.size()},
      .set_back_usecs = what.set_back_usecs,
  };
  std::string out;
  append_entry(out, {entry, what.file, what.file_type, what.certainty, what.base},
               {format, how.zone, &how.names, how.color});
  return out;
}

}  // namespace vesk::test
