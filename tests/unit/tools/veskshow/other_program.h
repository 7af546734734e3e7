// Programs of the system that read what veskshow writes.
#pragma once

#include <string>

namespace vesk::test {

struct program_result {
  int status;  // exit status, or minus the signal that ended it
  std::string out;
  std::string err;
};

// Runs a line of shell in an empty directory, with this on its standard input.
program_result run_shell(const std::string &line, const std::string &input);

// Whether the program is absent, but for a reason: a private root without mounts holds only copies
// of what the daemon needs. Elsewhere a program that is not installed makes its tests fail.
bool left_out_here(const std::string &program);

}  // namespace vesk::test
