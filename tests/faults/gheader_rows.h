// What the rebuilding of a global header calls and logs; the file is that of 8 KiB.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/faults/table.h"

namespace vesk::test {

// What ends it; and the same when no seek succeeds any longer.
event_list rebuilt(uint32_t start, uint32_t end);
event_list rebuilt_unwritten(uint32_t start, uint32_t end);

// Lines of the two passes.
std::string phase(const std::string &which, uint32_t start, uint32_t end);
std::string pass_failed(const std::string &pass, uint32_t reason);
std::string first_pass_read(uint32_t offset);
std::string second_pass_read(uint32_t offset);

template <typename Value>
std::vector<Value> head_of(const std::vector<Value> &all, size_t count) {
  return {all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count)};
}

}  // namespace vesk::test
