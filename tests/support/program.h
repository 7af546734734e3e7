// Programs as a test starts them: found on the path, and never outliving the test.
#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace vesk::test {

// What a program did.
struct ended {
  int status;       // its exit status, or 128 + the signal that ended it
  std::string out;  // all that it wrote to standard output
  std::string err;  // and to standard error

  std::string output() const { return out + err; }

  // For a test that failed.
  friend std::ostream &operator<<(std::ostream &to, const ended &what) {
    return to << "status " << what.status << "\n" << what.output();
  }
};

// How a program is started, where it is not as this process is, with nothing on standard input.
struct start_options {
  std::string input = {};      // on standard input
  std::string directory = {};  // where it runs
  // Variables that differ; those without a value are unset.
  std::map<std::string, std::optional<std::string>> environment = {};
  bool as_nobody = false;              // as an ordinary user
  bool on_terminal = false;            // one of its own, for its input and both outputs
  std::string output_file = {};        // gets both outputs, behind what it holds; nothing is caught
  std::function<void()> prepare = {};  // runs in the new process, just before the program
};

// A program under way; it is killed in the end.
class program {
 public:
  explicit program(const std::vector<std::string> &command, const start_options &how = {});
  program(const program &) = delete;
  program &operator=(const program &) = delete;
  ~program();

  // 0 once its end was noticed.
  pid_t process() const { return process_; }
  bool running();

  // What comes next, up to these characters, or without any up to the end; says so when they do not
  // come for a long while. On a terminal, standard error is in it.
  std::string out(const std::string &end = "") { return next(out_, end); }
  std::string err(const std::string &end = "") { return next(err_, end); }
  void stop_reading() { close_stream(out_); }
  void type(const std::string &keys);

  // Waits for its end, and kills it when that does not come for minutes.
  ended wait();
  // Sends it a signal and waits for its end.
  ended stop(int signal);

 private:
  struct stream {
    int fd = -1;
    std::string text = {};  // all that came
    size_t seen = 0;        // so much of it was asked for
  };

  static void close_stream(stream &from);
  static bool read_some(stream &from);
  bool gather(int milliseconds);
  std::string next(stream &from, const std::string &end);

  pid_t process_ = 0;
  int status_ = 0;
  stream out_;
  stream err_;
};

// Runs a program, or a line of shell, to its end.
ended run(const std::vector<std::string> &command, const start_options &how = {});
ended run_shell(const std::string &line, const start_options &how = {});

}  // namespace vesk::test
