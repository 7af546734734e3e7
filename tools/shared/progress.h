// How far a long run has come, on standard error while it is a terminal.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace vesk::shared {

struct progress_counts {
  uint64_t records;
  uint64_t refused;
  uint64_t unanswered;
};

// One line of at most `width` characters. `done` is the part of the input that has been read, where
// its size is known; `seconds` is how long that took.
[[nodiscard]] std::string progress_text(const progress_counts &counts, std::optional<double> done,
                                        double seconds, size_t width);

// A line that is drawn over and over in one place, from the first half second on. Takes standard
// input's position for how far the run is.
class progress {
 public:
  // Shows nothing where standard error is no terminal, or where the input is typed.
  progress();

  void show(const progress_counts &counts);

  // Takes the line away; to be called before anything else is printed.
  void clear();

 private:
  using clock = std::chrono::steady_clock;

  std::optional<double> part_done() const;

  bool wanted_;
  bool shown_ = false;
  int64_t first_ = 0;    // position in the input
  int64_t behind_ = -1;  // its end; negative where it is not known
  clock::time_point begun_ = clock::now();
  clock::time_point next_;
};

}  // namespace vesk::shared
