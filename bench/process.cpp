#include "bench/process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <fstream>
#include <stdexcept>

namespace vesk::bench {

namespace {

std::string read_all(int fd) {
  std::string text;
  char piece[65536];
  for (ssize_t got = 0; (got = read(fd, piece, sizeof piece)) > 0;) {
    text.append(piece, static_cast<size_t>(got));
  }
  return text;
}

// How long a fork() takes depends on what this process holds, and would be measured as well; a
// vfork() shares it.
pid_t start(const command &program, int output, int errors) {
  std::vector<char *> arguments;
  for (const std::string &argument : program) {
    arguments.push_back(const_cast<char *>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  const pid_t child = vfork();
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // nothing stays behind when the benchmark is stopped
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  if (child < 0) throw std::runtime_error(std::string("no new process: ") + std::strerror(errno));
  return child;
}

// Where what nobody reads is written to.
int nowhere() {
  static const int fd = open("/dev/null", O_RDWR | O_CLOEXEC);
  return fd;
}

std::string joined(const command &program) {
  std::string line;
  for (const std::string &word : program) line += (line.empty() ? "" : " ") + word;
  return line;
}

}  // namespace

process::process(const command &program) : pid_(start(program, nowhere(), nowhere())) {}

process::~process() {
  kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
}

long long process::cpu_nanoseconds() const {
  clockid_t clock{};
  timespec now{};
  if (clock_getcpuclockid(pid_, &clock) != 0 || clock_gettime(clock, &now) != 0) {
    throw std::runtime_error("a measured program is gone");
  }
  return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

void process::wait_until_idle() const {
  constexpr long long next_to_nothing = 50'000;
  long long before, now = cpu_nanoseconds();
  do {
    before = now;
    usleep(30'000);
    now = cpu_nanoseconds();
  } while (now - before > next_to_nothing);
}

double process::peak_kib() const {
  std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::stod(line.substr(6));
  }
  throw std::runtime_error("a measured program is gone");
}

ended run(const command &program) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error(std::strerror(errno));
  const auto began = std::chrono::steady_clock::now();
  const pid_t child = start(program, ends[1], STDERR_FILENO);
  close(ends[1]);
  ended result{};
  result.output = read_all(ends[0]);
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    throw std::runtime_error("failed: " + joined(program));
  }
  result.wall_seconds = took.count();
  return result;
}

}  // namespace vesk::bench
