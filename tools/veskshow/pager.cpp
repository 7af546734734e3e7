#include "tools/veskshow/pager.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tools/veskshow/output.h"

namespace vesk::veskshow {

namespace {

// Quits where all fits on one screen, leaves the screen as it is, lets colours through and long
// lines run on, says where in the text it is, and quits on Ctrl-C.
constexpr char less_options[] = "FRSXMK";

// A shell's exit status where a command cannot be run, or is not there.
constexpr int shell_cannot_run = 126;
constexpr int shell_not_found = 127;

// Of the pager; there is one at most.
pid_t process = -1;

bool is_for_people(const options &wanted) {
  using enum output_format;
  return !wanted.follow && wanted.format != json && wanted.format != journal_export &&
         wanted.format != raw;
}

bool is_installed(const std::string &program) {
  const char *path = std::getenv("PATH");
  std::string_view rest = path ? path : "/usr/bin:/bin";
  for (;;) {
    const std::string_view directory = rest.substr(0, rest.find(':'));
    if (access((std::string(directory) + "/" + program).c_str(), X_OK) == 0) return true;
    if (directory.size() == rest.size()) return false;
    rest.remove_prefix(directory.size() + 1);
  }
}

// What the shell is to run; empty where there is to be no pager.
std::string pager_command() {
  for (const char *variable : {"VESK_PAGER", "PAGER"}) {
    const char *value = std::getenv(variable);
    if (value) return std::string_view(value) == "cat" ? "" : value;
  }
  return is_installed("less") ? "less" : "";
}

[[noreturn]] void become_pager(const std::string &command, int input) {
  dup2(input, STDIN_FILENO);
  setenv("LESS", less_options, 0);
  execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
  std::perror("veskshow: /bin/sh");
  std::_Exit(shell_not_found);
}

// The pager sees the end of its input only when nobody holds the pipe's other end any more.
void close_pipe() {
  std::fflush(stdout);
  close(STDOUT_FILENO);
  if (isatty(STDERR_FILENO) == 0) close(STDERR_FILENO);
}

void wait_for_pager() {
  close_pipe();
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
  if (code == shell_cannot_run || code == shell_not_found) std::_Exit(exit_problem);
}

}  // namespace

void start_pager(const options &wanted) {
  if (!wanted.pager || !is_for_people(wanted) || !shows_on_terminal()) return;
  const std::string command = pager_command();
  std::array<int, 2> pipe{};
  if (command.empty() || pipe2(pipe.data(), O_CLOEXEC) != 0) return;

  process = fork();
  if (process == 0) become_pager(command, pipe[0]);
  if (process > 0) {
    dup2(pipe[1], STDOUT_FILENO);
    if (isatty(STDERR_FILENO) == 1) dup2(pipe[1], STDERR_FILENO);
    for (const int signal : {SIGINT, SIGQUIT, SIGPIPE}) std::signal(signal, SIG_IGN);
    std::atexit(wait_for_pager);
  }
  close(pipe[0]);
  close(pipe[1]);
}

}  // namespace vesk::veskshow
