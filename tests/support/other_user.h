// Becoming an ordinary user for a while.
#pragma once

#include <grp.h>
#include <unistd.h>

#include <functional>

#include "tests/support/program.h"

namespace vesk::test {

// The exit status of a process that becomes an ordinary user and then does `work`; 99 when it
// cannot become one.
inline int as_nobody(const std::function<int()> &work) {
  constexpr uid_t nobody = 65534;
  const pid_t process = fork();
  if (process == 0) {
    if (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0) _exit(99);
    _exit(work());
  }
  return wait_for(process);
}

// Whether there is anybody else to become.
inline bool other_users() {
  return as_nobody([] { return 0; }) == 0;
}

}  // namespace vesk::test
