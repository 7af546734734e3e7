// Runs a built program and catches what it writes.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace vesk::test {

struct outcome {
  int status = -1;  // the exit status; 128 + the signal's number when one ended it
  std::string out;
  std::string err;
};

// A program of the PATH, under way. It finds VESK_RUN_DIR set to `run_dir` and `input` on standard
// input.
class program {
 public:
  program(const std::string &run_dir, const std::string &name,
          const std::vector<std::string> &arguments, const std::string &input = {});
  program(const program &) = delete;
  program &operator=(const program &) = delete;
  ~program();

  pid_t pid() const { return pid_; }

  // What it has written to standard output so far.
  std::string output() const;

  // Waits for its end.
  outcome wait();

 private:
  pid_t pid_ = -1;
  int in_;
  int out_;
  int err_;
};

}  // namespace vesk::test
