// One sender: a process that logs through the sender's library and notes what it hears.
#pragma once

#include "tests/soak/ledger.h"
#include "tests/soak/plan.h"

namespace vesk::soak {

// Sends all that this sender wants to and returns the exit status of its process: 0, or 1 after a
// failure that no dead daemon accounts for, with a line on stderr.
int send_all(const part &of, ledger &notes, uint32_t sender);

}  // namespace vesk::soak
