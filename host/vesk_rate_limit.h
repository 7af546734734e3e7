// One line a second about the same matter, so that a flood of bad messages is no flood of lines.
#pragma once

#include <cstdint>
#include <optional>

namespace vesk {

class rate_limit {
 public:
  // The number of lines left out since the last one, when a line may be written at `now_usecs`;
  // nothing when this one is left out too.
  [[nodiscard]] constexpr std::optional<uint32_t> pass(uint64_t now_usecs) {
    if (written_ && now_usecs - last_ < 1'000'000) {
      ++left_out_;
      return std::nullopt;
    }
    const uint32_t before = left_out_;
    written_ = true;
    last_ = now_usecs;
    left_out_ = 0;
    return before;
  }

 private:
  bool written_ = false;
  uint64_t last_ = 0;
  uint32_t left_out_ = 0;
};

}  // namespace vesk
