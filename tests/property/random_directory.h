// Damaged log files of all types, alone or several together as in the log directory.
#pragma once

#include <cstdint>
#include <map>

#include "tests/support/ram_flash.h"

namespace vesk::test {

// By file type. The directory that belongs to a number is always the same one.
using directory = std::map<uint32_t, image>;
directory random_directory(uint64_t seed);

}  // namespace vesk::test
