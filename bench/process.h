// Programs that are measured: started, waited for, and asked how much processor time they took.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace vesk::bench {

using command = std::vector<std::string>;

// A program that runs on until it is asked to end. What it prints is thrown away.
class process {
 public:
  explicit process(const command &program);
  ~process();  // by SIGTERM
  process(const process &) = delete;
  process &operator=(const process &) = delete;

  // User and system time so far, in nanoseconds.
  long long cpu_nanoseconds() const;
  // Waits until it does next to nothing.
  void wait_until_idle() const;
  // The largest resident size so far, in KiB.
  double peak_kib() const;

 private:
  pid_t pid_;
};

struct ended {
  double wall_seconds;
  std::string output;
};

// Runs a program to its end. Throws std::runtime_error when it fails; what it has to say about that
// goes to standard error.
ended run(const command &program);

}  // namespace vesk::bench
