// Standard output behind a buffer, standard error, and the exit status.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vesk::veskshow {

enum exit_status {
  exit_fine = 0,
  exit_problem = 1,  // damage was found, something could not be read, or nothing matched
  exit_usage = 2,
};

// Says on standard error what is wrong with the command line. Returns exit_usage.
[[nodiscard]] int usage_error(std::string_view reason);

// Whether standard output is a terminal, and one that understands control sequences.
[[nodiscard]] bool shows_on_terminal();

// How many characters fit on a line: of the terminal that standard output is, else as the
// environment has it in COLUMNS. Where that says nothing, of the terminal that standard input is: a
// pager lies between this program and the terminal then. Else 80. Never more than 1000.
[[nodiscard]] size_t terminal_columns();

class output {
 public:
  std::string text;  // to be shown; append to it, and call flush_when_large() now and then

  // Whether control sequences for colours may go into `text`.
  bool color = false;

  // Ends the program with a line on standard error where standard output cannot be written. A
  // reader that went away (a pager that was left, head) ends it quietly.
  void flush();
  void flush_when_large();

  // A line on standard error, "veskshow: subject: reason", behind what was shown before it. The
  // exit status becomes exit_problem.
  void problem(std::string_view subject, std::string_view reason);

  // A line on standard error that is no problem, behind what was shown before it.
  void note(std::string_view line);

  exit_status status = exit_fine;
};

}  // namespace vesk::veskshow
