// The entries of all files in one order, for the jobs that show them.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "reader/vesk_ring_walk.h"
#include "tools/shared/files.h"
#include "tools/veskshow/jobs.h"
#include "tools/veskshow/output.h"

namespace vesk::veskshow {

// The files in the order of their types; those that the catalogue does not know come behind.
[[nodiscard]] std::vector<const shared::log_file *> by_type(
    const std::vector<shared::log_file> &files);

struct choice {
  std::optional<size_t> last;  // this many at most, the newest of those that the filter lets pass
  bool reverse = false;        // the newest first
};

// Shows the entries that the walks yield, one walk for each file, in the order of time. Where a
// file's clock was set back, a line says so between the two entries. Returns how many entries the
// filter let pass, shown or not. The walks have ended then, and have their damage.
size_t show_walks(const request &asked, const choice &chosen,
                  const std::vector<const shared::log_file *> &files, std::vector<ring_walk> &walks,
                  output &out);

}  // namespace vesk::veskshow
