#include "tests/support/process.h"

#include <grp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace vesk::test {

pid_t start_process(const std::function<int()> &work) {
  const pid_t parent = getpid();
  const pid_t process = fork();
  if (process < 0) throw std::runtime_error("fork failed");
  if (process > 0) return process;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  _exit(getppid() == parent ? work() : 127);
}

int wait_for(pid_t process) {
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool become_nobody() {
  constexpr uid_t nobody = 65534;
  return setgroups(0, nullptr) == 0 && setgid(nobody) == 0 && setuid(nobody) == 0;
}

int as_nobody(const std::function<int()> &work) {
  return wait_for(start_process([&] { return become_nobody() ? work() : 99; }));
}

bool other_users() {
  return as_nobody([] { return 0; }) == 0;
}

}  // namespace vesk::test
