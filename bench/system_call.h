// A call that the daemon makes to receive a message, to touch a file or to answer: what it does on
// the way from a record to the flash, and nothing else of it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vesk::bench {

struct system_call {
  enum class what : uint8_t { wait, receive, stat, open, seek, read, write, close, answer };

  what call;
  int32_t flags = 0;    // of open
  uint32_t number = 0;  // the offset, or how many bytes
  uint32_t result = 0;  // of a read or a write: how many bytes it moved
  std::string path = {};
};

using system_calls = std::vector<system_call>;

}  // namespace vesk::bench
