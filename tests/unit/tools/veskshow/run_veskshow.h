// Running the built veskshow. Times are in UTC only where the arguments say so; the local zone lies
// two hours east of it.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/support/program.h"

namespace vesk::test {

// Runs veskshow with these arguments in this directory and waits for it.
ended veskshow(const std::vector<std::string> &arguments, const std::string &directory = "/");

// The same as a user who may only do what everybody may.
ended veskshow_as_nobody(const std::vector<std::string> &arguments);

// One that is left running, its output read bit by bit.
struct running_veskshow : program {
  explicit running_veskshow(const std::vector<std::string> &arguments);
  // On a terminal of its own, with these variables and no others that choose a pager.
  running_veskshow(const std::vector<std::string> &arguments,
                   const std::map<std::string, std::string> &environment);
};

}  // namespace vesk::test
