// The tools over full log files, beside what people would use on the same bytes or records.
#pragma once

#include "bench/report.h"

namespace vesk::bench {

void measure_tools(report &out);

}  // namespace vesk::bench
