// Running the built veskshow.
#pragma once

#include <sys/types.h>

#include <map>
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

// The same as a user who may only do what everybody may.
shown veskshow_as_nobody(const std::vector<std::string> &arguments);

// One that is left running, its output read bit by bit. It is killed in the end.
class running_veskshow {
 public:
  // With pipes for its output.
  explicit running_veskshow(const std::vector<std::string> &arguments);
  // On a terminal of its own, with these variables and no others that choose a pager.
  running_veskshow(const std::vector<std::string> &arguments,
                   const std::map<std::string, std::string> &environment);
  ~running_veskshow();
  running_veskshow(const running_veskshow &) = delete;
  running_veskshow &operator=(const running_veskshow &) = delete;

  // What comes next, up to these characters, or without any up to the end; says so when the
  // characters do not come for a long while. On a terminal, standard error is in it.
  std::string out(const std::string &end = "") { return read_until(out_, end); }
  std::string err(const std::string &end = "") { return read_until(err_, end); }

  void type(const std::string &keys);
  void stop_reading();
  pid_t process() const { return process_; }

  // Waits for its end. Its exit status, minus the signal that ended it, or -1000 when it goes on.
  int wait();

 private:
  static std::string read_until(int fd, const std::string &end);

  pid_t process_ = -1;
  int out_ = -1;
  int err_ = -1;
};

}  // namespace vesk::test
