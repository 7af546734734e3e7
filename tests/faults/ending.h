// How an operation ends, besides the calls and lines that it makes.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vesk::test {

struct ending {
  int32_t result = 0;
  uint32_t code = 0;                                 // that the append left
  bool counted = false;                              // the record, for its sender
  bool cleared = false;                              // the sender's statistics
  std::vector<std::string> made = {}, removed = {};  // files, in the catalogue's order
  std::map<uint32_t, uint32_t> marks = {};           // by file type
  std::vector<std::string> open = {};                // files with a descriptor
  bool no_directory = false;                         // found by the start
  uint32_t up_failures = 0;                          // of the start's message that it is up

  bool operator==(const ending &) const = default;
};

// "= RESULT", and behind commas whatever else is not as it is by default; files by name alone.
std::string as_text(const ending &ending);

}  // namespace vesk::test
