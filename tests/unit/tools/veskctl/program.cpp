#include "tests/unit/tools/veskctl/program.h"

#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

extern char **environ;

namespace vesk::test {
namespace {

int scratch_file() {
  const int fd = memfd_create("stream", MFD_CLOEXEC);
  if (fd < 0) throw std::runtime_error("memfd_create failed");
  return fd;
}

// Reads from the start without moving the offset, at which the program still writes.
std::string contents(int fd) {
  std::string text;
  char buffer[4096];
  ssize_t got = 0;
  while ((got = pread(fd, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0) {
    text.append(buffer, static_cast<size_t>(got));
  }
  return text;
}

}  // namespace

program::program(const std::string &run_dir, const std::string &name,
                 const std::vector<std::string> &arguments, const std::string &input)
    : in_(scratch_file()), out_(scratch_file()), err_(scratch_file()) {
  if (pwrite(in_, input.data(), input.size(), 0) != static_cast<ssize_t>(input.size())) {
    throw std::runtime_error("cannot prepare standard input");
  }
  posix_spawn_file_actions_t streams;
  posix_spawn_file_actions_init(&streams);
  posix_spawn_file_actions_adddup2(&streams, in_, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&streams, out_, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&streams, err_, STDERR_FILENO);
  std::vector<std::string> words = arguments;
  words.insert(words.begin(), name);
  std::vector<char *> argv;
  for (auto &word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  setenv("VESK_RUN_DIR", run_dir.c_str(), 1);
  const int failed = posix_spawnp(&pid_, argv[0], &streams, nullptr, argv.data(), environ);
  unsetenv("VESK_RUN_DIR");
  posix_spawn_file_actions_destroy(&streams);
  if (failed != 0) throw std::runtime_error("cannot start " + words[0]);
}

program::~program() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  for (const int fd : {in_, out_, err_}) close(fd);
}

std::string program::output() const {
  return contents(out_);
}

outcome program::wait() {
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
  const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return {code, contents(out_), contents(err_)};
}

}  // namespace vesk::test
