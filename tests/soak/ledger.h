// What every sender sent, and what it heard of it: in memory that all processes share, so that it
// outlives whichever of them dies.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace vesk::soak {

enum class standing : uint8_t {
  none,
  under_way,  // being sent, or waiting for its answer
  stored,     // the daemon said yes
  refused,    // the daemon said no
  unknown,    // sent, but no answer came
  handed_in,  // sent, and no answer was asked for
};

// Moments are numbers of one counter: of two of them, the smaller one was earlier.
using moment = uint64_t;
constexpr moment never = UINT64_MAX;

struct sent_record {
  moment sent;  // just before it was sent
  moment done;  // just after its standing was known
  uint32_t secs;
  uint32_t usecs;
  uint16_t length;
  uint16_t type;
  uint16_t file_type;
  uint8_t sync;
  uint8_t update;
  uint8_t instance;
  bool keyed;
  std::atomic<standing> what;  // set last: the rest is valid unless it is none
};
static_assert(std::atomic<standing>::is_always_lock_free);

// The service uuid of a sender.
constexpr uint16_t uuid_of(uint32_t sender) {
  return static_cast<uint16_t>(100 + sender);
}

class ledger {
 public:
  // Throws std::system_error when there is no memory.
  ledger(uint64_t seed, uint32_t senders, uint32_t records);
  ledger(const ledger &) = delete;
  ledger &operator=(const ledger &) = delete;
  ~ledger();

  moment now() { return clock()->fetch_add(1); }

  uint64_t seed() const { return seed_; }
  uint32_t senders() const { return senders_; }

  sent_record &at(uint32_t sender, uint32_t number) {
    return rows()[size_t{sender} * records_ + number];
  }
  const sent_record &at(uint32_t sender, uint32_t number) const {
    return const_cast<ledger *>(this)->at(sender, number);
  }

  // How many records the sender has begun to send.
  uint32_t begun(uint32_t sender) const;
  uint64_t begun() const;

 private:
  std::atomic<uint64_t> *clock() const { return static_cast<std::atomic<uint64_t> *>(memory_); }
  sent_record *rows() const { return reinterpret_cast<sent_record *>(clock() + 8); }

  uint64_t seed_;
  uint32_t senders_;
  uint32_t records_;
  size_t size_;
  void *memory_;
};

}  // namespace vesk::soak
