#include "tools/shared/preserve_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <thread>

#include "reader/vesk_ring_image.h"
#include "reader/vesk_ring_walk.h"
#include "tools/shared/new_file.h"

namespace vesk::shared {

namespace {

namespace fs = std::filesystem;

// Log files are readable for everybody, and so are copies of them.
constexpr mode_t directory_mode = 0755;
// Who could open it could keep copies from being made.
constexpr mode_t lock_mode = 0600;
constexpr std::chrono::seconds patience{10};
constexpr std::chrono::milliseconds pause{50};

constexpr uint64_t block = 4096;
constexpr size_t most_digits = 9;

// A set that is being put together or taken apart.
constexpr char unfinished[] = "/.unfinished";

std::string system_reason(int error) {
  return std::generic_category().message(error);
}

// --- the directory ---

std::string make_directory(const fs::path &path) {
  fs::path part;
  for (const fs::path &name : path) {
    const fs::path above = part.empty() ? "." : part;
    part /= name;
    if (mkdir(part.c_str(), directory_mode) == 0) {
      if (auto trouble = sync_directory(above); !trouble.empty()) return trouble;
    } else if (errno != EEXIST) {
      return system_reason(errno);
    }
  }
  return {};
}

std::string take_lock(const unique_fd &lock) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return system_reason(errno);
    if (std::chrono::steady_clock::now() >= end) return "another program is making copies there";
    std::this_thread::sleep_for(pause);
  }
  return {};
}

// --- the sets ---

bool is_digits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// Whether it looks like "20261121T190527Z".
bool is_time(std::string_view text) {
  return text.size() == 16 && text[8] == 'T' && text[15] == 'Z' && is_digits(text.substr(0, 8)) &&
         is_digits(text.substr(9, 6));
}

// The number of the set of this name; 0 where it is no set's.
uint32_t number_of(std::string_view name) {
  const size_t dash = name.find('-');
  if (dash == std::string_view::npos || dash > most_digits) return 0;
  const std::string_view digits = name.substr(0, dash);
  if (!is_digits(digits) || !is_time(name.substr(dash + 1))) return 0;
  uint32_t number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number;
}

std::string name_of(uint32_t number, const timespec &now) {
  tm utc{};
  gmtime_r(&now.tv_sec, &utc);
  char time[32], name[64];
  std::strftime(time, sizeof time, "%Y%m%dT%H%M%SZ", &utc);
  std::snprintf(name, sizeof name, "%06u-%s", number, time);
  return name;
}

bool is_directory_itself(const std::string &path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

uint64_t room_of_set(const std::string &path) {
  uint64_t room = room_for(1);
  std::error_code trouble;
  for (fs::directory_iterator at(path, trouble), end; !trouble && at != end;
       at.increment(trouble)) {
    struct stat status;
    if (lstat(at->path().c_str(), &status) == 0) {
      room += room_for(static_cast<uint64_t>(status.st_size));
    }
  }
  return room;
}

std::string find_sets(const std::string &directory, std::vector<copy_set> &sets) {
  std::error_code trouble;
  for (fs::directory_iterator at(directory, trouble), end; !trouble && at != end;
       at.increment(trouble)) {
    const std::string name = at->path().filename();
    const uint32_t number = number_of(name);
    if (number > 0 && is_directory_itself(at->path())) {
      sets.push_back({number, name, room_of_set(at->path())});
    }
  }
  if (trouble) return trouble.message();
  std::sort(sets.begin(), sets.end(),
            [](const copy_set &a, const copy_set &b) { return a.number < b.number; });
  return {};
}

bool has_file(const std::string &path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool has_content(const std::string &path, std::string_view content) {
  std::vector<uint8_t> image;
  if (!read_ring_image(path, unknown_capacity, image).empty()) return false;
  return std::string_view(reinterpret_cast<const char *>(image.data()), image.size()) == content;
}

}  // namespace

uint64_t room_for(uint64_t size) {
  return (size + block - 1) / block * block;
}

std::optional<copy_store> open_store(const std::string &path, std::string &trouble) {
  trouble = make_directory(path);
  if (!trouble.empty()) return {};
  unique_fd lock(
      open((path + "/.lock").c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, lock_mode));
  trouble = lock ? take_lock(lock) : system_reason(errno);
  if (!trouble.empty()) return {};
  copy_store store{path, std::move(lock), {}};
  drop_set(store);
  trouble = find_sets(path, store.sets);
  if (!trouble.empty()) return {};
  return store;
}

std::string path_of(const copy_store &store, const copy_set &set) {
  return store.path + '/' + set.name;
}

const copy_set *set_with(const copy_store &store, const std::string &name,
                         std::string_view content) {
  const auto newest = std::find_if(store.sets.rbegin(), store.sets.rend(), [&](const auto &set) {
    return has_file(path_of(store, set) + '/' + name);
  });
  if (newest == store.sets.rend()) return nullptr;
  return has_content(path_of(store, *newest) + '/' + name, content) ? &*newest : nullptr;
}

std::string begin_set(const copy_store &store, std::string &directory) {
  directory = store.path + unfinished;
  return mkdir(directory.c_str(), directory_mode) == 0 ? "" : system_reason(errno);
}

std::string finish_set(const copy_store &store, const timespec &now, std::string &path) {
  const std::string directory = store.path + unfinished;
  if (auto trouble = sync_directory(directory); !trouble.empty()) return trouble;
  const uint32_t last = store.sets.empty() ? 0 : store.sets.back().number;
  path = store.path + '/' + name_of(last + 1, now);
  if (std::rename(directory.c_str(), path.c_str()) != 0) return system_reason(errno);
  return sync_directory(store.path);
}

void drop_set(const copy_store &store) {
  std::error_code left_for_the_next_run;
  fs::remove_all(store.path + unfinished, left_for_the_next_run);
}

std::string evict(const copy_store &store, const copy_set &set) {
  // Under the name of a set, what is half removed would be taken for a whole one.
  const std::string directory = store.path + unfinished;
  if (std::rename(path_of(store, set).c_str(), directory.c_str()) != 0) return system_reason(errno);
  if (auto trouble = sync_directory(store.path); !trouble.empty()) return trouble;
  std::error_code trouble;
  fs::remove_all(directory, trouble);
  return trouble ? trouble.message() : "";
}

}  // namespace vesk::shared
