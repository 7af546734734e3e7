#include "tests/support/program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

#include "base/vesk_fd.h"

namespace vesk::test {

namespace {

[[noreturn]] void become(const std::vector<std::string> &command) {
  std::vector<char *> arguments;
  for (const auto &argument : command) arguments.push_back(const_cast<char *>(argument.c_str()));
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  std::fprintf(stderr, "cannot start %s\n", arguments[0]);
  _exit(127);
}

// A file that is gone as soon as it is closed.
unique_fd file_with(const std::string &text) {
  char path[] = "/tmp/input.XXXXXX";
  unique_fd file(mkstemp(path));
  unlink(path);
  for (size_t done = 0; done < text.size();) {
    const ssize_t count = write(file.get(), text.data() + done, text.size() - done);
    if (count <= 0) break;
    done += static_cast<size_t>(count);
  }
  lseek(file.get(), 0, SEEK_SET);
  return file;
}

}  // namespace

pid_t start(const std::vector<std::string> &command, const std::string &output,
            const std::function<void()> &prepare) {
  const pid_t parent = getpid();
  const pid_t process = fork();
  if (process != 0) return process;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(127);
  const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  dup2(file, STDOUT_FILENO);
  dup2(file, STDERR_FILENO);
  prepare();
  become(command);
}

int wait_for(pid_t process) {
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

outcome run(const std::vector<std::string> &command, const std::string &input) {
  char output[] = "/tmp/output.XXXXXX";
  const unique_fd created(mkstemp(output));
  const unique_fd in = file_with(input);
  const pid_t process = start(command, output, [&] { dup2(in.get(), STDIN_FILENO); });
  const int status = wait_for(process);
  outcome result{status, contents_of(output)};
  unlink(output);
  return result;
}

std::vector<std::string> lines_of(const std::string &text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::string contents_of(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace vesk::test
