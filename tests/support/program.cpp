#include "tests/support/program.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmp.h>

#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <string_view>

#include "base/vesk_fd.h"
#include "tests/support/process.h"

namespace vesk::test {

namespace {

using std::chrono::steady_clock;
using namespace std::chrono_literals;

[[noreturn]] void fail(const std::string &what) {
  throw std::runtime_error("cannot start a program: " + what);
}

unique_fd file_with(const std::string &text) {
  unique_fd file(memfd_create("input", MFD_CLOEXEC));
  if (pwrite(file.get(), text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) {
    fail("no input");
  }
  return file;
}

// The new process's end of a pipe, a terminal or a file; ours, if there is one, goes to `ours`.
unique_fd new_pipe(int &ours) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) fail("no pipe");
  ours = ends[0];
  return unique_fd(ends[1]);
}

unique_fd new_terminal(int &ours) {
  int its = -1;
  if (openpty(&ours, &its, nullptr, nullptr, nullptr) != 0) fail("no terminal");
  fcntl(ours, F_SETFD, FD_CLOEXEC);
  return unique_fd(its);
}

unique_fd file_to_add_to(const std::string &path) {
  return unique_fd(openat(AT_FDCWD, path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
}

std::vector<std::string> environment_with(
    const std::map<std::string, std::optional<std::string>> &changes) {
  std::vector<std::string> variables;
  for (char **variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    if (!changes.contains(std::string(text.substr(0, text.find('=')))))
      variables.emplace_back(text);
  }
  for (const auto &[name, value] : changes) {
    if (value) variables.push_back(name + "=" + *value);
  }
  return variables;
}

std::vector<char *> pointers_to(const std::vector<std::string> &words) {
  std::vector<char *> pointers;
  for (const auto &word : words) pointers.push_back(const_cast<char *>(word.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

// The program is looked for on this process's path, whatever its own will be.
int become(const std::vector<std::string> &command, const start_options &how) {
  if (!how.directory.empty() && chdir(how.directory.c_str()) != 0) return 126;
  if (how.as_nobody && !become_nobody()) return 126;
  if (how.prepare) how.prepare();
  const std::vector<std::string> environment = environment_with(how.environment);
  execvpe(command[0].c_str(), pointers_to(command).data(), pointers_to(environment).data());
  std::fprintf(stderr, "cannot start %s\n", command[0].c_str());
  return 127;
}

}  // namespace

program::program(const std::vector<std::string> &command, const start_options &how) {
  const bool caught = how.output_file.empty() && !how.on_terminal;
  const unique_fd in = file_with(how.input);
  const unique_fd out = caught            ? new_pipe(out_.fd)
                        : how.on_terminal ? new_terminal(out_.fd)
                                          : file_to_add_to(how.output_file);
  const unique_fd err = caught ? new_pipe(err_.fd) : unique_fd(-1);
  process_ = start_process([&] {
    if (how.on_terminal) {
      login_tty(out.get());
    } else {
      dup2(in.get(), STDIN_FILENO);
      dup2(out.get(), STDOUT_FILENO);
      dup2(err ? err.get() : out.get(), STDERR_FILENO);
    }
    return become(command, how);
  });
}

program::~program() {
  if (process_ > 0) {
    kill(process_, SIGKILL);
    wait_for(process_);
  }
  close_stream(out_);
  close_stream(err_);
}

void program::close_stream(stream &from) {
  if (from.fd >= 0) close(from.fd);
  from.fd = -1;
}

bool program::running() {
  int status = 0;
  if (process_ > 0 && waitpid(process_, &status, WNOHANG) == process_) {
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    process_ = 0;
  }
  return process_ > 0;
}

// A terminal that nobody has open any more gives an error in place of an end.
bool program::read_some(stream &from) {
  char buffer[16384];
  const ssize_t got = read(from.fd, buffer, sizeof buffer);
  if (got > 0) {
    from.text.append(buffer, static_cast<size_t>(got));
  } else {
    close_stream(from);
  }
  return got > 0;
}

// Takes what has come, or waits for something. Whether there was anything.
bool program::gather(int milliseconds) {
  pollfd ready[] = {{out_.fd, POLLIN, 0}, {err_.fd, POLLIN, 0}};
  if (poll(ready, 2, milliseconds) <= 0) return false;
  const bool some_out = ready[0].revents != 0 && read_some(out_);
  const bool some_err = ready[1].revents != 0 && read_some(err_);
  return some_out || some_err;
}

std::string program::next(stream &from, const std::string &end) {
  const auto limit = steady_clock::now() + 20s;
  std::string late;
  while (from.fd >= 0 && (end.empty() || from.text.find(end, from.seen) == std::string::npos)) {
    if (steady_clock::now() > limit) {
      late = "<nothing more came>";
      break;
    }
    gather(100);
  }
  const std::string unseen = from.text.substr(from.seen);
  from.seen = from.text.size();
  return unseen + late;
}

void program::type(const std::string &keys) {
  if (write(out_.fd, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) {
    throw std::runtime_error("cannot type");
  }
}

// Somebody whom the program has started may go on to write after its end: that is not waited for.
ended program::wait() {
  const auto limit = steady_clock::now() + 150s;
  while (running()) {
    if (steady_clock::now() > limit) kill(process_, SIGKILL);
    gather(out_.fd >= 0 || err_.fd >= 0 ? 10 : 1);
  }
  while (gather(0)) {
  }
  return {status_, out_.text, err_.text};
}

ended program::stop(int signal) {
  if (process_ > 0) kill(process_, signal);
  return wait();
}

ended run(const std::vector<std::string> &command, const start_options &how) {
  return program(command, how).wait();
}

ended run_shell(const std::string &line, const start_options &how) {
  return run({"sh", "-c", line}, how);
}

}  // namespace vesk::test
