// What the message service has done since the process began.
#pragma once

#include <cstdint>

#include "host/vesk_wire_check.h"

namespace vesk {

struct host_counters {
  uint64_t received;                // accepted
  uint64_t refused[refusal_count];  // indexed by the reason
  uint64_t answered;                // answers and receipts sent
  uint64_t unanswered;              // answers, receipts and refusals that reached nobody
  uint64_t listeners_reached;
  uint64_t listeners_missed;
};

inline host_counters counters;

inline uint64_t service_began;  // when the queue was bound, by monotonic_usecs()

}  // namespace vesk
