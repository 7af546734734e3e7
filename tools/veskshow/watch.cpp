#include "tools/veskshow/watch.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>

#include "base/vesk_errno.h"
#include "tools/shared/files.h"

namespace vesk::veskshow {

namespace {

// However fast a file is written to, it is looked at no more often than this.
constexpr std::chrono::milliseconds least_pause{250};

// Not every file system reports changes, and one that is mounted over the directory does not at
// first.
constexpr std::chrono::milliseconds longest_pause{1000};

// What the signal handler writes to.
int stop_fd = -1;

void stop(int) {
  const errno_keeper keeper;
  const uint64_t one = 1;
  // It fails only when it was written to already.
  [[maybe_unused]] const ssize_t written = write(stop_fd, &one, sizeof one);
}

void handle(int signal) {
  struct sigaction action = {};
  sigaction(signal, nullptr, &action);
  if (action.sa_handler == SIG_IGN) return;
  // Without SA_RESTART: a write that nobody reads is to end as well.
  action = {};
  action.sa_handler = stop;
  sigaction(signal, &action, nullptr);
}

}  // namespace

change_watch::change_watch(const std::vector<std::string> &paths)
    : changes_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)),
      stop_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
  for (const std::string &path : paths) directories_.push_back(shared::directory_of(path));
  std::sort(directories_.begin(), directories_.end());
  directories_.erase(std::unique(directories_.begin(), directories_.end()), directories_.end());
  watch_directories();
  stop_fd = stop_.get();
  for (const int signal : {SIGINT, SIGTERM}) handle(signal);
}

bool change_watch::wait() {
  if (!pause(least_pause, false)) return false;
  // Each time, because a directory may have been replaced or mounted over.
  if (watch_directories() && !pause(longest_pause - least_pause, true)) return false;
  forget_changes();
  return true;
}

bool change_watch::watch_directories() {
  const auto watched = [&](const std::string &directory) {
    constexpr uint32_t events = IN_MODIFY | IN_CREATE | IN_DELETE | IN_MOVED_TO | IN_MOVED_FROM;
    return inotify_add_watch(changes_.get(), directory.c_str(), events) >= 0;
  };
  return std::count_if(directories_.begin(), directories_.end(), watched) ==
         static_cast<std::ptrdiff_t>(directories_.size());
}

// Waits for as long, or until something happens; false as for wait().
bool change_watch::pause(std::chrono::milliseconds time, bool for_changes) {
  std::array<pollfd, 3> events = {{
      {stop_.get(), POLLIN, 0},
      {STDOUT_FILENO, 0, 0},  // only whether its reader has gone
      {for_changes ? changes_.get() : -1, POLLIN, 0},
  }};
  // A signal in between only shortens the pause.
  poll(events.data(), events.size(), static_cast<int>(time.count()));
  return events[0].revents == 0 && events[1].revents == 0;
}

void change_watch::forget_changes() {
  std::array<char, 4096> events;
  while (read(changes_.get(), events.data(), events.size()) > 0) {
  }
}

}  // namespace vesk::veskshow
