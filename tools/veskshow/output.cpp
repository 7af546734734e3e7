#include "tools/veskshow/output.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "base/vesk_failure.h"
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
