// The directory that keeps copies of log files: sets of them, each a directory of its own that is
// there whole or not at all, whenever the power goes.
//
//   DIR/000007-20261121T190527Z/   the seventh set, and when it was made
//
// The number and not the time tells which set is older, because a device may boot with a clock that
// stands at 1970. What else lies in the directory is left alone. No link in it is followed.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/vesk_failure.h"
#include "base/vesk_fd.h"

namespace vesk::shared {

struct copy_set {
  uint32_t number;
  std::string name;
  uint64_t room;  // in bytes, as room_for() counts
};

struct copy_store {
  std::string path;
  unique_fd lock;              // nobody else changes the directory meanwhile
  std::vector<copy_set> sets;  // the oldest first
};

// What a file or directory of this size takes away from the file system.
[[nodiscard]] uint64_t room_for(uint64_t size);

// Opens the directory, makes it where it is missing, and removes what an interrupted run left.
failure open_store(const std::string &path, std::optional<copy_store> &ret_store);

[[nodiscard]] std::string path_of(const copy_store &store, const copy_set &set);

// The set with the newest copy of the file of this name, if that copy has these bytes; else null.
[[nodiscard]] const copy_set *set_with(const copy_store &store, const std::string &name,
                                       std::string_view content);

// --- a new set ---

// Makes the directory in which a new set is put together.
failure begin_set(const copy_store &store, std::string &ret_directory);

// Makes a set of what lies there.
failure finish_set(const copy_store &store, const timespec &now, std::string &ret_path);

// Removes what lies there.
void drop_set(const copy_store &store);

// Removes the set.
failure evict(const copy_store &store, const copy_set &set);

}  // namespace vesk::shared
