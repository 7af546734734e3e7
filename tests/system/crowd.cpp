#include "tests/system/crowd.h"

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "tests/support/program.h"

namespace vesk::test {

crowd::~crowd() {
  send_away();
}

void crowd::add(int count, const std::function<void()> &once) {
  const pid_t parent = getpid();
  for (int i = 0; i < count; ++i) {
    const pid_t process = fork();
    if (process == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      if (getppid() != parent) _exit(127);
      for (;;) once();
    }
    processes_.push_back(process);
  }
}

bool crowd::send_away() {
  bool all_at_work = true;
  for (const pid_t process : processes_) {
    kill(process, SIGKILL);
    all_at_work &= wait_for(process) == 128 + SIGKILL;
  }
  processes_.clear();
  return all_at_work;
}

}  // namespace vesk::test
