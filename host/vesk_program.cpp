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

// No input, and no descriptor of ours beyond the standard ones; null for a file leaves the child
// our own. 0 or an error number.
int set_up_files(posix_spawn_file_actions_t &actions, const char *out, const char *err) {
  constexpr int write_flags = O_WRONLY | O_CREAT | O_TRUNC;
  const auto open_at = [&](int fd, const char *path, int flags) {
    return posix_spawn_file_actions_addopen(&actions, fd, path, flags, 0644);
  };
  int failed = open_at(STDIN_FILENO, "/dev/null", O_RDONLY);
  if (failed == 0 && out != nullptr) failed = open_at(STDOUT_FILENO, out, write_flags);
  if (failed == 0 && err != nullptr) failed = open_at(STDERR_FILENO, err, write_flags);
  return failed != 0 ? failed : posix_spawn_file_actions_addclosefrom_np(&actions, 3);
}

// No signal is blocked or ignored. SIGCHLD most of all: the daemon ignores it, and a child would
// inherit that and could not wait for children of its own. 0 or an error number.
int reset_signals(posix_spawnattr_t &attributes) {
  sigset_t to_default;
  sigfillset(&to_default);
  sigset_t blocked;
  sigemptyset(&blocked);
  posix_spawnattr_setsigdefault(&attributes, &to_default);
  posix_spawnattr_setsigmask(&attributes, &blocked);
  return posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
}

// The child's process id, or -1 with errno.
pid_t start(const arguments &args, const char *out, const char *err) {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_init(&attributes);
  pid_t child = -1;
  int failed = set_up_files(actions, out, err);
  if (failed == 0) failed = reset_signals(attributes);
  if (failed == 0) {
    failed = posix_spawn(&child, args[0], &actions, &attributes,
                         const_cast<char *const *>(args.data()), environ);
  }
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
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
