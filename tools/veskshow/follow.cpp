// --follow: the entries, and then what is added to them.
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "base/vesk_errno.h"
#include "base/vesk_fd.h"
#include "reader/vesk_ring_follow.h"
#include "tools/veskshow/jobs.h"

namespace vesk::veskshow {

namespace {

// --- waiting until log files may have changed ---

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

class change_watch {
 public:
  // Of the files at these paths, which need not exist. From now on SIGINT and SIGTERM only end the
  // waiting, unless they were ignored; there is one watch at most.
  explicit change_watch(const std::vector<std::string> &paths);

  // Waits until one of the files may have changed, a quarter of a second at least. False when there
  // is nothing more to be waited for: the user ended it, or nobody reads standard output any more.
  [[nodiscard]] bool wait();

 private:
  bool watch_directories();
  bool pause(std::chrono::milliseconds time, bool for_changes);
  void forget_changes();

  std::vector<std::string> directories_;
  unique_fd changes_;
  unique_fd stop_;
};

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

// --- showing what is new ---

using news = ring_follower::news;

constexpr size_t shown_at_first = 10;

// The files that are followed, and what was new at the last look.
struct followed {
  std::vector<shared::log_file> files;
  std::deque<ring_follower> rings;
  std::vector<ring_walk> walks;
  std::vector<news> found;
};

followed follow(const std::vector<shared::log_file> &files) {
  followed all{by_type(files), {}, {}, {}};
  for (const shared::log_file &file : all.files) {
    all.rings.emplace_back(file.path, shared::capacity_of(file));
  }
  return all;
}

// Whether it is no problem that a file cannot be read: one that nobody named may appear later.
bool is_expected(const request &asked, const shared::log_file &file) {
  return asked.wanted.arguments.empty() && !shared::exists(file);
}

void look_at_all(followed &all, const request &asked, bool first, output &out) {
  all.walks.clear();
  all.found.clear();
  for (size_t i = 0; i < all.rings.size(); ++i) {
    auto look = all.rings[i].look_again(ring_follower::clock::now());
    const shared::log_file &file = all.files[i];
    if (first && look.trouble && !is_expected(asked, file)) {
      out.problem(file.path, look.trouble.reason);
    }
    if (look.what == news::lost && !asked.wanted.quiet) {
      out.note("-- " + file.path + ": entries were overwritten before they could be shown --");
    }
    all.walks.push_back(std::move(look.walk));
    all.found.push_back(look.what);
  }
}

void show_news(followed &all, const request &asked, const choice &chosen, output &out) {
  show_walks(asked, chosen, all.files, all.walks, out);
  for (size_t i = 0; i < all.rings.size(); ++i) {
    const ring_walk &walk = all.walks[i];
    if (all.found[i] != news::none) all.rings[i].went(walk);
    if (walk.damage) out.problem(all.files[i].path, shared::damage_text(*walk.damage));
  }
  out.flush();
}

// With --since, everything since then is wanted.
choice first_choice(const options &wanted) {
  if (wanted.last || !wanted.since.empty()) return {wanted.last};
  return {shown_at_first};
}

}  // namespace

// Ctrl-C is how it is meant to end: the exit status then speaks of problems alone.
void follow_entries(const request &asked, output &out) {
  followed all = follow(asked.files);
  if (all.files.empty()) return;
  std::vector<std::string> paths;
  for (const shared::log_file &file : all.files) paths.push_back(file.path);
  change_watch watch(paths);

  look_at_all(all, asked, true, out);
  show_news(all, asked, first_choice(asked.wanted), out);
  while (watch.wait()) {
    look_at_all(all, asked, false, out);
    show_news(all, asked, {}, out);
  }
}

}  // namespace vesk::veskshow
