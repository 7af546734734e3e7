// When a repeating timer is due again.
#pragma once

#include <cstdint>

namespace vesk {

// The first moment after `now` that is a whole number of intervals behind `due`, which has passed:
// the cadence stays, and missed periods are skipped.
[[nodiscard]] constexpr uint64_t due_again(uint64_t due, uint64_t interval, uint64_t now) {
  return due + interval * ((now - due) / interval + 1);
}
static_assert(due_again(100, 10, 100) == 110 && due_again(100, 10, 109) == 110);
static_assert(due_again(100, 10, 110) == 120 && due_again(100, 10, 1234) == 1240);

}  // namespace vesk
