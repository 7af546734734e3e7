// What comes after a fault that has gone: the next record, and another start.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/faults/scene.h"

namespace vesk::test {

struct aftermath {
  // The error lines of the next record where it was refused.
  std::vector<std::string> refused_next;
  std::vector<std::string> broken;
};

// The record goes to a file of that type. The daemon goes on with it; starts as after a boot, and
// serves another; and again with the start at once. Promised is: a record that is refused is so
// once, and none is behind a start; every record that is served lies before the ring's end; starts
// come to their end, leave no mark and no descriptor, and every file that they leave has a global
// header that holds; and while the flash is not mounted, records are dropped unread.
aftermath take_aftermath(scene &scene, uint32_t file_type);

}  // namespace vesk::test
