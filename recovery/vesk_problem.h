// What can be held against a log file, and what start-up does about it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vesk {

// What becomes of a file at a start. It is kept as it is. It is marked for repair and repaired, in
// a first start always by rebuilding its global header. It is removed. Or it is not repaired, and
// its mark stays as it was: the repairs end at a kernel log, before its turn or at this very file.
enum class file_fate : uint8_t { keep, rebuild, remove, stay_marked };

enum class problem : uint8_t {
  none,

  // The file and its global header.
  file_too_small,
  gheader_unreadable,
  unknown_version,
  bad_magic,
  bad_gheader_sum,
  wrong_capacity,  // not the catalogue's
  end_beyond_capacity,
  start_without_room,  // for an entry up to the capacity
  file_ends_before_start,
  file_ends_before_end,
  wrapped_file_not_full,  // its ring has wrapped, and it has not the very size of the ring

  // The chain of entries, where the corruption check looks at it.
  start_meets_end,  // away from the first slot
  bad_entry_sum,
  entry_unreadable,
  first_slot_unreadable,
  end_without_room,  // for an entry in front of it
  no_last_entry,     // no header holds near the end; `number` is the last offset looked at

  // What a repair that rebuilds the global header fails at.
  gap_without_room,   // for a null entry between two good ones; `number` is the size of the gap
  tail_without_room,  // the same between the last entry and the capacity
  null_entry_not_written,
  entry_beyond_capacity,  // `number` is where it would end
  no_entry_in_damage,     // before the damage got too large; `number` is how large it may be
  no_entry_in_file,       // before the file could be read no further
  no_entries,             // but null entries perhaps
  chain_broken,           // behind the start that was predicted; `number` is the new end
};
constexpr size_t problem_count = static_cast<size_t>(problem::chain_broken) + 1;

struct finding {
  problem what = problem::none;
  uint32_t offset = 0;  // where
  uint32_t number = 0;  // what else there is to be said, where the problem has something

  constexpr explicit operator bool() const { return what != problem::none; }
  bool operator==(const finding &) const = default;
};

// What the last examination, or repair that rebuilds the global header, came upon, beside the codes
// that its operations return; `found` has a meaning where the file is not kept or repaired. The
// daemon writes it and never reads it: it is there for those who predict what a start would do.
struct recovery_notes {
  finding found = {};
  uint32_t start = 0;  // of the ring, as predicted or, in the end, as rebuilt
  uint32_t end = 0;    // of the rebuilt ring
  uint32_t headers_rewritten = 0;
  uint32_t nulls_added = 0;
};
inline recovery_notes notes;

// What start-up does with a file whose size or global header has this problem.
constexpr file_fate fate_of(problem what) {
  switch (what) {
    case problem::none:
      return file_fate::keep;
    case problem::bad_magic:
    case problem::bad_gheader_sum:
    case problem::wrong_capacity:
    case problem::end_beyond_capacity:
    case problem::start_without_room:
      return file_fate::rebuild;
    default:
      return file_fate::remove;
  }
}

}  // namespace vesk
