// The ways in which a call fails, and how they are written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vesk::test {

enum class extent : uint8_t { quick, full };

// The call gives this result and leaves this errno. A read or a write with a result of 0 or more
// comes that far and no further.
struct failure {
  int64_t result = -1;
  int error = 0;
};

// The n-th call of a kind alone, or that one and all of its kind behind it.
enum class lasting : uint8_t { once, for_ever };

// "EIO", "7", "7 and EIO".
std::string as_text(const failure &failure);

// All that can happen to a call of this kind; `size` is what a read or a write asks for. None for a
// call that cannot fail, or whose result says nothing. Of large transfers the quick extent tries
// some short counts only.
std::vector<failure> failures_of(const std::string &kind, size_t size, extent extent);

}  // namespace vesk::test
