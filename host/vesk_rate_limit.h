// One line a second about the same matter, so that a flood of bad messages is no flood of lines.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

namespace vesk {

class rate_limit {
 public:
  // The number of lines left out since the last one, when a line may be written at `now_usecs`;
  // nothing when this one is left out too.
  [[nodiscard]] constexpr std::optional<uint32_t> pass(uint64_t now_usecs) {
    if (now_usecs < next_) {
      ++left_out_;
      return std::nullopt;
    }
    next_ = now_usecs + 1'000'000;
    return std::exchange(left_out_, 0);
  }

 private:
  uint64_t next_ = 0;  // when a line may be written again
  uint32_t left_out_ = 0;
};

}  // namespace vesk
