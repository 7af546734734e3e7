// What a process takes of the machine, as /proc tells it.
#pragma once

#include <sys/types.h>

#include <optional>

namespace vesk::test {

struct process_usage {
  long resident_kib;
  long data_kib;  // its heap and static memory, touched or not
  long descriptors;
};

// Nothing where there is no /proc, as in a private root made of copies.
std::optional<process_usage> usage_of(pid_t process);

}  // namespace vesk::test
