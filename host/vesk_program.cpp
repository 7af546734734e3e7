// Starting other programs.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstddef>

#include "platform/program.h"

namespace {

constexpr size_t max_arguments = 16;  // the program's path included
using arguments = std::array<const char *, max_arguments + 1>;

// What a child starts with: no input, no descriptor of ours beyond the standard ones, no signal
// ignored or blocked.
class child_setup {
 public:
  child_setup() {
    posix_spawn_file_actions_init(&actions_);
    posix_spawnattr_init(&attributes_);
  }
  child_setup(const child_setup &) = delete;
  child_setup &operator=(const child_setup &) = delete;
  ~child_setup() {
    posix_spawnattr_destroy(&attributes_);
    posix_spawn_file_actions_destroy(&actions_);
  }

  // 0 or an error number; null for a file leaves the child our own.
  int prepare(const char *out, const char *err) {
    int failed = open_at(STDIN_FILENO, "/dev/null", O_RDONLY);
    if (failed == 0 && out != nullptr) failed = open_at(STDOUT_FILENO, out, write_flags);
    if (failed == 0 && err != nullptr) failed = open_at(STDERR_FILENO, err, write_flags);
    if (failed == 0) failed = posix_spawn_file_actions_addclosefrom_np(&actions_, 3);
    return failed != 0 ? failed : reset_signals();
  }

  int spawn(pid_t &child, const arguments &args) const {
    return posix_spawn(&child, args[0], &actions_, &attributes_,
                       const_cast<char *const *>(args.data()), environ);
  }

 private:
  static constexpr int write_flags = O_WRONLY | O_CREAT | O_TRUNC;

  int open_at(int fd, const char *path, int flags) {
    return posix_spawn_file_actions_addopen(&actions_, fd, path, flags, 0644);
  }

  // SIGCHLD most of all: the daemon ignores it, and a child would inherit that and could not wait
  // for children of its own.
  int reset_signals() {
    sigset_t to_default;
    sigfillset(&to_default);
    sigset_t blocked;
    sigemptyset(&blocked);
    posix_spawnattr_setsigdefault(&attributes_, &to_default);
    posix_spawnattr_setsigmask(&attributes_, &blocked);
    return posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  }

  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
};

// The child's process id, or -1 with errno.
pid_t start(const arguments &args, const char *out, const char *err) {
  child_setup setup;
  pid_t child = -1;
  int failed = setup.prepare(out, err);
  if (failed == 0) failed = setup.spawn(child, args);
  if (failed == 0) return child;
  errno = failed;
  return -1;
}

// Where SIGCHLD is ignored, the wait ends when the child does, with ECHILD, and the child's status
// is lost: that counts as success.
int32_t wait_for(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno == ECHILD) return 0;
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : -1;
}

int32_t run(const arguments &args, const char *out, const char *err) {
  const pid_t child = start(args, out, err);
  return child < 0 ? -1 : wait_for(child);
}

// False with E2BIG when there are more than we have room for.
bool collect(arguments &args, const char *program, std::va_list rest) {
  args = {program};
  for (size_t i = 1; i < args.size(); ++i) {
    args[i] = va_arg(rest, const char *);
    if (args[i] == nullptr) return true;
  }
  errno = E2BIG;
  return false;
}

}  // namespace

int32_t execute_program_and_wait(const char *program, ...) {
  arguments args;
  std::va_list rest;
  va_start(rest, program);
  const bool fit = collect(args, program, rest);
  va_end(rest);
  return fit ? run(args, nullptr, nullptr) : -1;
}

int32_t execute_program_and_let_go(const char *program, ...) {
  arguments args;
  std::va_list rest;
  va_start(rest, program);
  const bool fit = collect(args, program, rest);
  va_end(rest);
  return fit && start(args, nullptr, nullptr) >= 0 ? 0 : -1;
}

int32_t exec_cmd_with_files_print(const char *command, int32_t, const char *out, const char *err,
                                  int32_t) {
  return run({"/bin/sh", "-c", command}, out, err);
}
