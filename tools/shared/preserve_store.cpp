#include "tools/shared/preserve_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "reader/vesk_ring_image.h"
#include "reader/vesk_ring_walk.h"
#include "tools/shared/copy_note.h"
#include "tools/shared/new_file.h"
#include "tools/shared/text.h"

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

// --- the directory ---

failure make_directory(const fs::path &path) {
  fs::path part;
  for (const fs::path &name : path) {
    const fs::path above = part.empty() ? "." : part;
    part /= name;
    if (mkdir(part.c_str(), directory_mode) == 0) {
      if (failure why = sync_directory(above)) return why;
    } else if (errno != EEXIST) {
      return {errno_text(errno)};
    }
  }
  return {};
}

failure take_lock(const unique_fd &lock) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return {errno_text(errno)};
    if (std::chrono::steady_clock::now() >= end) return {"another program is making copies there"};
    std::this_thread::sleep_for(pause);
  }
  return {};
}

// --- the sets ---

// Whether it looks like "20261121T190527Z".
bool is_time(std::string_view text) {
  return text.size() == 16 && text[8] == 'T' && text[15] == 'Z' && is_digits(text.substr(0, 8)) &&
         is_digits(text.substr(9, 6));
}

// The number of the set of this name; 0 where it is no set's.
uint32_t number_of(std::string_view name) {
  const size_t dash = name.find('-');
  if (dash == std::string_view::npos || dash > most_digits) return 0;
  return is_time(name.substr(dash + 1)) ? number_in<uint32_t>(name.substr(0, dash)).value_or(0) : 0;
}

std::string name_of(uint32_t number, const timespec &now) {
  std::string time = utc_text(now);
  time.erase(time.find('.'));
  std::erase_if(time, [](char c) { return c == '-' || c == ':'; });
  return formatted("%06u-%sZ", number, time.c_str());
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

failure find_sets(const std::string &directory, std::vector<copy_set> &ret_sets) {
  std::error_code trouble;
  for (fs::directory_iterator at(directory, trouble), end; !trouble && at != end;
       at.increment(trouble)) {
    const std::string name = at->path().filename();
    const uint32_t number = number_of(name);
    if (number > 0 && is_directory_itself(at->path())) {
      ret_sets.push_back({number, name, room_of_set(at->path())});
    }
  }
  if (trouble) return {trouble.message()};
  std::sort(ret_sets.begin(), ret_sets.end(),
            [](const copy_set &a, const copy_set &b) { return a.number < b.number; });
  return {};
}

bool has_file(const std::string &path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool has_content(const std::string &path, std::string_view content) {
  std::vector<uint8_t> image;
  if (read_ring_image(path, unknown_capacity, image)) return false;
  return characters_of(image) == content;
}

}  // namespace

uint64_t room_for(uint64_t size) {
  return (size + block - 1) / block * block;
}

failure open_store(const std::string &path, std::optional<copy_store> &ret_store) {
  if (failure why = make_directory(path)) return why;
  unique_fd lock(
      open((path + "/.lock").c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, lock_mode));
  if (!lock) return {errno_text(errno)};
  if (failure why = take_lock(lock)) return why;
  ret_store.emplace(copy_store{path, std::move(lock), {}});
  drop_set(*ret_store);
  return find_sets(path, ret_store->sets);
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

failure begin_set(const copy_store &store, std::string &ret_directory) {
  ret_directory = store.path + unfinished;
  return {mkdir(ret_directory.c_str(), directory_mode) == 0 ? "" : errno_text(errno)};
}

failure finish_set(const copy_store &store, const timespec &now, std::string &ret_path) {
  const std::string directory = store.path + unfinished;
  if (failure why = sync_directory(directory)) return why;
  const uint32_t last = store.sets.empty() ? 0 : store.sets.back().number;
  ret_path = store.path + '/' + name_of(last + 1, now);
  if (std::rename(directory.c_str(), ret_path.c_str()) != 0) return {errno_text(errno)};
  return sync_directory(store.path);
}

void drop_set(const copy_store &store) {
  std::error_code left_for_the_next_run;
  fs::remove_all(store.path + unfinished, left_for_the_next_run);
}

failure evict(const copy_store &store, const copy_set &set) {
  // Under the name of a set, what is half removed would be taken for a whole one.
  const std::string directory = store.path + unfinished;
  if (std::rename(path_of(store, set).c_str(), directory.c_str()) != 0) return {errno_text(errno)};
  if (failure why = sync_directory(store.path)) return why;
  std::error_code trouble;
  fs::remove_all(directory, trouble);
  return {trouble ? trouble.message() : ""};
}

}  // namespace vesk::shared
