// A run as a table.
#pragma once

#include <string>
#include <vector>

#include "tests/soak/course.h"

namespace vesk::soak {

std::string as_table(const std::vector<course_result> &parts);

}  // namespace vesk::soak
