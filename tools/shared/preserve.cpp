#include "tools/shared/preserve.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <numeric>
#include <set>
#include <utility>

#include "reader/vesk_ring_image.h"
#include "tools/shared/flash.h"
#include "tools/shared/new_file.h"
#include "tools/shared/preserve_store.h"
#include "tools/shared/text.h"

namespace vesk::shared {

namespace {

namespace fs = std::filesystem;

// For the directory of a new set and its note, which is well below this.
constexpr uint64_t room_beside_copies = uint64_t{32} << 10;

uint64_t room_of_sets(const copy_store &store, const std::set<uint32_t> *only = nullptr) {
  return std::accumulate(store.sets.begin(), store.sets.end(), uint64_t{0},
                         [only](uint64_t sum, const copy_set &set) {
                           return only && !only->contains(set.number) ? sum : sum + set.room;
                         });
}

bool lies_in(const std::string &path, const std::string &directory) {
  std::error_code no_path, no_directory;
  const fs::path inner = fs::weakly_canonical(path, no_path);
  const fs::path outer = fs::canonical(directory, no_directory);
  if (no_path || no_directory) return false;
  return std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first == outer.end();
}

// How much is lost without a copy, the most first.
int rank(file_fate fate) {
  switch (fate) {
    case file_fate::remove:
      return 0;
    case file_fate::rebuild:
      return 1;
    case file_fate::keep:
    case file_fate::stay_marked:
      return 2;
  }
  return 2;
}

class preservation {
 public:
  preservation(const preserve_request &asked, copy_store store, preserve_result &result)
      : asked_(asked), store_(std::move(store)), result_(result) {
    clock_gettime(CLOCK_REALTIME, &now_);
  }

  void run(const std::vector<evidence> &found) {
    std::vector<const evidence *> fresh;
    for (const evidence &file : found) {
      if (!is_known(file)) fresh.push_back(&file);
    }
    choose_what_fits(fresh);
    const uint64_t wanted = room_wanted(fresh);
    const std::vector<const copy_set *> leaving = sets_to_evict(wanted);
    if (!has_space(wanted, leaving)) return;
    for (const copy_set *set : leaving) remove(*set);
    if (!fresh.empty() && result_.troubles.size() == troubles_before_) copy(fresh);
  }

 private:
  bool is_known(const evidence &file) {
    const std::string name = file.file.row->name;
    const copy_set *set = set_with(store_, name, characters_of(file.bytes));
    if (set == nullptr) return false;
    still_needed_.insert(set->number);
    result_.files.push_back({name, path_of(store_, *set) + '/' + name, file.predicted.fate, true});
    return true;
  }

  void choose_what_fits(std::vector<const evidence *> &fresh) {
    std::stable_sort(fresh.begin(), fresh.end(), [](const evidence *a, const evidence *b) {
      return std::pair(rank(a->predicted.fate), a->bytes.size()) <
             std::pair(rank(b->predicted.fate), b->bytes.size());
    });
    uint64_t room = room_of_sets(store_, &still_needed_) + room_beside_copies;
    std::erase_if(fresh, [&](const evidence *file) {
      const uint64_t more = room_for(file->bytes.size());
      const bool fits = room + more <= asked_.limit;
      if (fits) {
        room += more;
      } else {
        complain(file->file.path, "its " + std::to_string(file->bytes.size()) +
                                      " bytes do not fit within the limit, so it is not copied");
      }
      return !fits;
    });
    troubles_before_ = result_.troubles.size();
    std::sort(fresh.begin(), fresh.end(), [](const evidence *a, const evidence *b) {
      return a->file.row->file_type() < b->file.row->file_type();
    });
  }

  static uint64_t room_wanted(const std::vector<const evidence *> &fresh) {
    if (fresh.empty()) return 0;
    uint64_t room = room_beside_copies;
    for (const evidence *file : fresh) room += room_for(file->bytes.size());
    return room;
  }

  std::vector<const copy_set *> sets_to_evict(uint64_t wanted) const {
    std::vector<const copy_set *> leaving;
    uint64_t room = room_of_sets(store_) + wanted;
    for (const copy_set &set : store_.sets) {
      if (room <= asked_.limit) break;
      if (still_needed_.contains(set.number)) continue;
      leaving.push_back(&set);
      room -= set.room;
    }
    return leaving;
  }

  // Nothing old is removed for something new that cannot be written after all.
  bool has_space(uint64_t wanted, const std::vector<const copy_set *> &leaving) {
    if (wanted == 0) return true;
    const file_system flash = file_system_of(store_.path.c_str());
    uint64_t free = flash.free;
    for (const copy_set *set : leaving) free += set->room;
    if (!flash.trouble.empty()) {
      complain(store_.path, flash.trouble);
    } else if (free < wanted) {
      complain(store_.path, "no room on its file system: " + std::to_string(wanted) +
                                " bytes are needed, " + std::to_string(free) + " are free");
    }
    return result_.troubles.size() == troubles_before_;
  }

  void remove(const copy_set &set) {
    const std::string path = path_of(store_, set);
    if (failure why = evict(store_, set)) {
      complain(path, "cannot be removed to make room: " + why.reason);
    } else {
      result_.evicted.push_back(path);
    }
  }

  void copy(const std::vector<const evidence *> &fresh) {
    std::string path;
    if (failure why = write_set(fresh, path)) {
      drop_set(store_);
      complain(store_.path, "cannot keep a copy there: " + why.reason);
      return;
    }
    for (const evidence *file : fresh) {
      const std::string name = file->file.row->name;
      result_.files.push_back({name, path + '/' + name, file->predicted.fate, false});
    }
  }

  failure write_set(const std::vector<const evidence *> &fresh, std::string &ret_path) const {
    std::string directory;
    if (failure why = begin_set(store_, directory)) return why;
    directory += '/';
    for (const evidence *file : fresh) {
      if (failure why = write_new_file(directory + file->file.row->name, characters_of(file->bytes),
                                       &file->modified)) {
        return why;
      }
    }
    if (failure why = write_new_file(directory + note_name, note_of(asked_, now_, fresh))) {
      return why;
    }
    return finish_set(store_, now_, ret_path);
  }

  void complain(const std::string &subject, std::string reason) {
    result_.troubles.push_back({subject, std::move(reason)});
  }

  const preserve_request &asked_;
  copy_store store_;
  preserve_result &result_;
  timespec now_{};
  std::set<uint32_t> still_needed_;  // numbers of sets with bytes that lie in the log directory now
  size_t troubles_before_ = 0;       // those that do not hinder the copying of the rest
};

}  // namespace

failure examine(const log_file &file, repairs_end &repairs, evidence &ret_found) {
  ret_found.file = file;
  // Before the bytes, so that the copy is never younger than it says.
  struct stat status {};
  if (stat(file.path.c_str(), &status) == 0) ret_found.modified = status.st_mtim;
  if (failure why = read_ring_image(file.path, capacity_of(file), ret_found.bytes)) return why;
  if (failure why = repairs.predict(file, ret_found.bytes, ret_found.predicted)) return why;
  ret_found.predicted.rebuilt = {};
  return {};
}

preserve_result preserve(const preserve_request &asked, const std::vector<evidence> &found) {
  preserve_result result;
  if (lies_in(asked.directory, asked.source)) {
    result.troubles.push_back(
        {asked.directory, "lies in the directory of the log files, which has no room for copies"});
    return result;
  }
  struct stat status {};
  if (found.empty() && lstat(asked.directory.c_str(), &status) != 0 && errno == ENOENT) {
    return result;
  }
  std::optional<copy_store> store;
  if (failure why = open_store(asked.directory, store)) {
    result.troubles.push_back({asked.directory, "cannot keep copies there: " + why.reason});
    return result;
  }
  preservation(asked, std::move(*store), result).run(found);
  return result;
}

}  // namespace vesk::shared
