#include "tests/system/crowd.h"

#include <signal.h>

#include "tests/support/process.h"

namespace vesk::test {

crowd::~crowd() {
  send_away();
}

void crowd::add(int count, const std::function<void()> &once) {
  const auto work = [&]() -> int {
    for (;;) once();
  };
  for (int i = 0; i < count; ++i) processes_.push_back(start_process(work));
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
