// What the programs that make a corpus have in common.
#pragma once

#include <map>
#include <string>

namespace vesk::test {

// Their main(): writes each seed to a file of its name in the directory that is the only argument.
// Returns the exit status.
int write_seeds(int argc, char **argv, const std::map<std::string, std::string> &seeds);

}  // namespace vesk::test
