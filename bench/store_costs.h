// What a record costs in each store: processor time, what is handed to the file system, and what
// reaches the device.
#pragma once

#include <vector>

#include "bench/report.h"
#include "bench/store.h"

namespace vesk::bench {

// The first store is measured beside the record itself, and beside each of the others. Needs
// flash_is_possible().
void measure_store_costs(const std::vector<store> &stores, report &out);

}  // namespace vesk::bench
