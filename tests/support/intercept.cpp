#include "tests/support/intercept.h"

#include <signal.h>
#include <sys/select.h>

#include <string>

#include "daemon/vesk_lifecycle.h"
#include "store/vesk_append.h"
#include "tests/support/recorder.h"

using namespace vesk::test;

namespace vesk::test {

decltype(append_instead) append_instead;

}  // namespace vesk::test

namespace {

int32_t called(const char *name, const std::string &arguments) {
  platform.note(std::string(name) + "(" + arguments + ")");
  return static_cast<int32_t>(platform.take(name));
}

bool is_empty(const sigset_t &mask) {
  for (int signo = 1; signo < SIGRTMAX; ++signo) {
    if (sigismember(&mask, signo) == 1) return false;
  }
  return true;
}

std::string members(const fd_set *set) {
  if (!set) return "null";
  std::string text;
  for (int fd = 0; fd < FD_SETSIZE; ++fd) {
    if (FD_ISSET(fd, set)) text += (text.empty() ? "" : ", ") + std::to_string(fd);
  }
  return "{" + text + "}";
}

std::string name_of(const timeval *timeout) {
  if (!timeout) return "null";
  return timeout == &platform.expiry ? "expiry" : "another timeout";
}

}  // namespace

extern "C" {

int32_t __real_vesk_append(int32_t fd, const vesk_log_req *record, uint32_t file_size,
                           uint32_t max_size, uint32_t *error_code);
int __real_sigaction(int signo, const struct sigaction *action, struct sigaction *old);

int32_t __wrap_vesk_append(int32_t fd, const vesk_log_req *record, uint32_t file_size,
                           uint32_t max_size, uint32_t *error_code) {
  return (append_instead ? append_instead : __real_vesk_append)(fd, record, file_size, max_size,
                                                                error_code);
}

int __wrap_sigaction(int signo, const struct sigaction *action, struct sigaction *old) {
  if (signo != SIGTERM) return __real_sigaction(signo, action, old);
  return called("sigaction",
                "SIGTERM, " +
                    std::string(action->sa_handler == vesk_sigterm_handler ? "vesk_sigterm_handler"
                                                                           : "another handler") +
                    (is_empty(action->sa_mask) ? ", empty mask, " : ", some mask, ") +
                    std::to_string(action->sa_flags));
}

sighandler_t __wrap_signal(int signo, sighandler_t handler) {
  called("signal", std::string(signo == SIGCHLD ? "SIGCHLD" : "another signal") + ", " +
                       (handler == SIG_IGN ? "SIG_IGN" : "another handler"));
  return SIG_DFL;
}

// With the answer 0, nothing is ready; with a positive one, everything asked for is.
int __wrap_select(int nfds, fd_set *reading, fd_set *writing, fd_set *failing, timeval *timeout) {
  const int result =
      called("select", std::to_string(nfds) + ", " + members(reading) + ", " + members(writing) +
                           ", " + members(failing) + ", " + name_of(timeout));
  if (result == 0) FD_ZERO(reading);
  return result;
}

int __wrap_rmdir(const char *path) {
  return called("rmdir", path);
}

void __wrap_sync(void) {
  called("sync", "");
}

}  // extern "C"
