// One power cut told to a person: the file before it, after it, and what the daemon makes of it.
#pragma once

#include <string>

#include "tests/powercut/enumerate.h"

namespace vesk::test {

// Throws std::out_of_range where the case has no such cut.
std::string story_of(const case_plan &plan, const cut_name &name);

}  // namespace vesk::test
