// What goes wrong with pread while a test reads.
#pragma once

#include <sys/types.h>

#include <functional>

namespace vesk::test {

struct pread_faults {
  int error = 0;    // what each call fails with,
  int errors = -1;  // or only the first so many
  // A stretch of the file of which nothing can be read; a call that begins before it stops there.
  off_t bad_from = 0;
  off_t bad_to = 0;
  std::function<void(int)> after;  // what happens behind each call, with its number
  int calls = 0;                   // that went through
};

extern pread_faults faulty_pread;

}  // namespace vesk::test
