// What the rebuilding of a global header calls and logs; the file is that of 8 KiB.
#pragma once

#include <cstdint>
#include <string>

#include "tests/faults/table.h"

namespace vesk::test {

// What ends it: the lines and calls up to the write, and the whole; and the same when no seek
// succeeds any longer.
event_list writing(uint32_t start, uint32_t end);
sequel rebuilt(uint32_t start, uint32_t end);
sequel rebuilt_unwritten(uint32_t start, uint32_t end);

// Lines of the two passes.
std::string phase(const std::string &which, uint32_t start, uint32_t end);
std::string pass_failed(const std::string &pass, uint32_t reason);
std::string first_pass_read(uint32_t offset);
std::string second_pass_read(uint32_t offset);

}  // namespace vesk::test
