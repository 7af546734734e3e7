// Where the repairs of a start-up end.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "tools/shared/files.h"

namespace vesk::shared {

// Start-up repairs the files of its directory in the order of their types, and no more of them once
// it comes to a kernel log that it will not repair. That file counts wherever it lies beside one of
// those that are shown, whether or not it is shown itself.
class repairs_end {
 public:
  // Whether the repairs end before they come to this file.
  bool before(const log_file &file);

 private:
  std::map<std::string, uint32_t> known_;  // for each directory: the type at which they end
};

}  // namespace vesk::shared
