// The daemon end to end, record by record, beside its floor.
#pragma once

#include "bench/report.h"

namespace vesk::bench {

void measure_records(report &out);

}  // namespace vesk::bench
