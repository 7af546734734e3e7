// Running the built veskshow.
#pragma once

#include <string>
#include <vector>

namespace vesk::test {

struct shown {
  int status;       // exit status, or minus the signal that ended it
  std::string out;  // standard output
  std::string err;  // standard error
};

// Runs veskshow with these arguments in this directory and waits for it. Times are in UTC only
// where the arguments say so; the local zone lies two hours east of it.
shown veskshow(const std::vector<std::string> &arguments, const std::string &directory = "/");

}  // namespace vesk::test
