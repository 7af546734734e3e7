// What is added to a log file while it is looked at again and again.
//
// The file is known by its path alone and open only while it is read: it may be written to, cleared
// and made anew, replaced, or unmounted meanwhile. What was read stays in memory, and only what is
// new is read. An entry that is updated in place is not noticed.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/vesk_failure.h"
#include "reader/vesk_ring_walk.h"

namespace vesk {

class ring_follower {
 public:
  using clock = std::chrono::steady_clock;

  // `capacity` as for begin_walk().
  ring_follower(std::string path, uint32_t capacity);

  enum class news : uint8_t {
    none,
    more,  // entries were added behind those that the last walk yielded
    anew,  // the file is read for the first time, or was cleared or replaced: the walk is over all
    lost,  // the same because the ring went all around: entries may have been missed
  };

  struct [[nodiscard]] look {
    news what = news::none;
    ring_walk walk = {};   // over what is new; has ended where there is nothing
    failure trouble = {};  // why the file cannot be read
  };

  // Reads what is new. The walk is to be walked to its end before the next look; the damage that it
  // then has is to be reported. What was added may be read before it is whole, so that damage there
  // comes out only once it has lasted for a while, and once.
  look look_again(clock::time_point now);

  // Notes how far the walk went.
  void went(const ring_walk &walk);

 private:
  look read_all(int fd, news what);
  look read_added(int fd, const ring_state &ring, clock::time_point now);
  look wait_with(const ring_walk &broken, clock::time_point now);
  bool goes_on(int fd, const ring_state &ring) const;
  bool still_holds(int fd, uint32_t offset) const;
  bool read_stretch(int fd, uint32_t begin, uint32_t end);

  std::string path_;
  uint32_t capacity_;
  std::vector<uint8_t> image_;          // as far as it was read
  std::optional<ring_state> seen_;      // as of then; empty where no walk could be made
  uint32_t position_ = 0;               // behind the last entry that was walked over
  std::optional<uint32_t> last_entry_;  // the header of that one
  uint64_t last_stamp_ = 0;
  std::optional<clock::time_point> broken_since_;
  bool reported_ = false;  // the damage at hand
};

}  // namespace vesk
