// Processes that a test starts, that never outlive it, and some of which are another user's.
#pragma once

#include <sys/types.h>

#include <functional>

namespace vesk::test {

// Starts a process that does `work` and ends with its result.
pid_t start_process(const std::function<int()> &work);

// Waits for the end of a process. Its exit status, or 128 + the signal that ended it.
int wait_for(pid_t process);

// Makes this process an ordinary user's for good; false when it cannot.
bool become_nobody();

// The exit status of a process that becomes an ordinary user and then does `work`; 99 when it
// cannot become one.
int as_nobody(const std::function<int()> &work);

// Whether there is anybody else to become.
bool other_users();

}  // namespace vesk::test
