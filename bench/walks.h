// The daemon's walks over whole files, beside the floor of their own system calls.
#pragma once

#include "bench/report.h"

namespace vesk::bench {

void measure_walks(report &out);

}  // namespace vesk::bench
