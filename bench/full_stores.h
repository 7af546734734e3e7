// Full stores beside each other, all with the same records: how long they take to start and to be
// searched, and what they take up.
#pragma once

#include <vector>

#include "bench/report.h"
#include "bench/store.h"

namespace vesk::bench {

// The first store is measured beside each of the others, and its size in memory beside what it may
// take.
void measure_full_stores(const std::vector<store> &stores, report &out);

}  // namespace vesk::bench
