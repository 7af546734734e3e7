// The system calls of a program that strace has watched ("strace -s 0 -o LOG").
#pragma once

#include <string>

#include "bench/system_call.h"

namespace vesk::bench {

// The calls on the message queue and on log files, in their order, failed ones included. What the
// program prints, its timers and what the C library does when it starts are left out. Throws
// std::runtime_error when the log cannot be read.
system_calls read_strace_log(const std::string &path);

// Those from the first received message on that is not answered at once, as a status request is.
system_calls calls_for_messages(system_calls calls);

// What a program and its threads have written to files in a directory, by calls that strace has
// logged with their files' names ("strace -f -y -s 0").
struct written {
  double bytes;
  double calls;
};
written written_below(const std::string &directory, const std::string &path);

}  // namespace vesk::bench
