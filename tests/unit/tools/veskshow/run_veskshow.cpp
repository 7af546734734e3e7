#include "tests/unit/tools/veskshow/run_veskshow.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "tests/support/file_bytes.h"

namespace vesk::test {

namespace {

std::string content(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

[[noreturn]] void exec_veskshow(const std::vector<std::string> &arguments) {
  const std::string program = std::string(std::getenv("VESK_BIN_DIR")) + "/veskshow";
  std::vector<char *> argv = {const_cast<char *>("veskshow")};
  for (const auto &argument : arguments) argv.push_back(const_cast<char *>(argument.c_str()));
  argv.push_back(nullptr);

  setenv("TZ", "EAST-2", 1);
  execv(program.c_str(), argv.data());
  std::_Exit(127);
}

[[noreturn]] void become_veskshow(const std::vector<std::string> &arguments,
                                  const std::string &directory, const scratch_directory &files,
                                  uid_t user) {
  ::dup2(open((files / "out").c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
  ::dup2(open((files / "err").c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
  if (setuid(user) != 0 || chdir(directory.c_str()) != 0) std::_Exit(126);
  exec_veskshow(arguments);
}

shown run(const std::vector<std::string> &arguments, const std::string &directory, uid_t user) {
  const scratch_directory files;
  const pid_t child = fork();
  if (child == 0) become_veskshow(arguments, directory, files, user);
  int status = 0;
  waitpid(child, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), content(files / "out"),
          content(files / "err")};
}

}  // namespace

shown veskshow(const std::vector<std::string> &arguments, const std::string &directory) {
  return run(arguments, directory, getuid());
}

shown veskshow_as_nobody(const std::vector<std::string> &arguments) {
  constexpr uid_t nobody = 65534;
  return run(arguments, "/", nobody);
}

running_veskshow::running_veskshow(const std::vector<std::string> &arguments) {
  std::array<int, 2> out, err;
  if (::pipe2(out.data(), O_CLOEXEC) != 0 || ::pipe2(err.data(), O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  process_ = fork();
  if (process_ == 0) {
    ::dup2(out[1], STDOUT_FILENO);
    ::dup2(err[1], STDERR_FILENO);
    exec_veskshow(arguments);
  }
  close(out[1]);
  close(err[1]);
  out_ = out[0];
  err_ = err[0];
}

running_veskshow::running_veskshow(const std::vector<std::string> &arguments,
                                   const std::map<std::string, std::string> &environment) {
  process_ = forkpty(&out_, nullptr, nullptr, nullptr);
  if (process_ == 0) {
    for (const char *name : {"VESK_PAGER", "PAGER", "LESS"}) unsetenv(name);
    setenv("TERM", "xterm", 1);
    for (const auto &[name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    exec_veskshow(arguments);
  }
}

running_veskshow::~running_veskshow() {
  if (process_ > 0) {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  close(out_);
  close(err_);
}

std::string running_veskshow::read_until(int fd, const std::string &end) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  std::string text;
  while (end.empty() || text.find(end) == std::string::npos) {
    pollfd ready{fd, POLLIN, 0};
    if (std::chrono::steady_clock::now() > limit) return text + "<nothing more came>";
    if (poll(&ready, 1, 100) == 0) continue;
    std::array<char, 4096> buffer;
    // A terminal that nobody has open any more gives an error in place of an end.
    const ssize_t got = read(fd, buffer.data(), buffer.size());
    if (got <= 0) break;
    text.append(buffer.data(), static_cast<size_t>(got));
  }
  return text;
}

void running_veskshow::type(const std::string &keys) {
  if (write(out_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) {
    throw std::runtime_error("cannot type");
  }
}

void running_veskshow::stop_reading() {
  close(out_);
  out_ = -1;
}

int running_veskshow::wait() {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  int status = 0;
  while (waitpid(process_, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > limit) return -1000;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  process_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace vesk::test
