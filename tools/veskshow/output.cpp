#include "tools/veskshow/output.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "base/vesk_failure.h"
#include "tools/shared/terminal.h"
#include "tools/shared/text.h"

namespace vesk::veskshow {

int usage_error(std::string_view reason) {
  std::fprintf(stderr, "veskshow: %s\nTry 'veskshow --help'.\n", shared::safely(reason).c_str());
  return exit_usage;
}

bool shows_on_terminal() {
  const char *kind = std::getenv("TERM");
  return isatty(STDOUT_FILENO) == 1 && kind && std::string_view(kind) != "dumb";
}

size_t terminal_columns() {
  constexpr size_t default_columns = 80, columns_at_most = 1000;
  size_t columns = shared::columns_of_terminal(STDOUT_FILENO);
  if (columns == 0) {
    const char *variable = std::getenv("COLUMNS");
    columns = variable ? shared::number_in<size_t>(variable).value_or(0)
                       : shared::columns_of_terminal(STDIN_FILENO);
  }
  return columns == 0 ? default_columns : std::min(columns, columns_at_most);
}

void output::flush() {
  const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (!written || std::fflush(stdout) != 0) {
    // EINTR: a signal that ends the following of files.
    if (errno == EPIPE || errno == EINTR) std::exit(status);
    std::fprintf(stderr, "veskshow: cannot write: %s\n", errno_text(errno).c_str());
    std::exit(exit_problem);
  }
  text.clear();
}

void output::flush_when_large() {
  if (text.size() >= size_t{64} << 10) flush();
}

void output::problem(std::string_view subject, std::string_view reason) {
  flush();
  std::string line = "veskshow: " + shared::safely(subject);
  line.append(": ").append(reason).append("\n");
  std::fputs(line.c_str(), stderr);
  status = exit_problem;
}

void output::note(std::string_view line) {
  flush();
  std::fprintf(stderr, "%s\n", shared::safely(line).c_str());
}

}  // namespace vesk::veskshow
