// Programs as a test starts them: found on the path, and never outliving the test.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace vesk::test {

// What a program did: its exit status (128 + the signal that ended it) and all it printed, to
// standard output and standard error together.
struct outcome {
  int status;
  std::string output;
};

// Starts a program whose output goes to the file `output`, created or added to. `prepare` runs in
// the new process, just before the program takes over.
pid_t start(
    const std::vector<std::string> &command, const std::string &output,
    const std::function<void()> &prepare = [] {});

// Waits for the end of a process; the status is as in `outcome`.
int wait_for(pid_t process);

// Runs a program to its end. `input` is its standard input.
outcome run(const std::vector<std::string> &command, const std::string &input = "");

// The lines of a text, without their newlines.
std::vector<std::string> lines_of(const std::string &text);

// The whole of a file; empty when there is none.
std::string contents_of(const std::string &path);

}  // namespace vesk::test
