// Whether what the daemon said is true: after each death of it, what was answered is looked for.
//
// A record must be there once its sender was told that it is stored; one that wanted no answer,
// once the daemon answered a later record of the same sender, for it takes them in their order.
// What is not there is excused only where it was
//
//   discarded  as many bytes were appended to the file behind it as kept_bytes() says, so that the
//              ring may have given it up. Behind it is what was not done when it was sent.
//   replaced   by a later update of the same entry, which is there
//   cut off    an update was being written in its place at a death, and half of that is there; or
//              a death had left the file without its global header: then the daemon drops records
//              until that file is removed, for which it does not wait
//   hit        a death had fallen into the moment in which the daemon wrote over the oldest entries
//              of a full ring, it was logged in that ring, and a start or a record repaired or
//              removed the file then. What was in the ring before is in a copy.
//
// All else that is missing is a broken promise. So is an entry that nobody sent, unless it is the
// one that was being written at a death; and so are entries of a sender that are out of order,
// files that are damaged without being full, and two files that are damaged by one death.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/soak/ledger.h"
#include "tests/soak/plan.h"
#include "tests/soak/sighting.h"

namespace vesk::soak {

// Where a record was when it was last looked for; from `discarded` on it is not looked for again.
enum class place : uint8_t {
  not_promised,  // not yet, or never
  chain,
  search,  // of the file
  copy,    // made before a start
  discarded,
  replaced,
  cut_off,
  hit,  // lost in a ring that had been hit when it was sent
  lost,
};
constexpr size_t place_count = 9;

struct tally {
  uint64_t stored[place_count] = {};       // records that the daemon has to have, by their place
  uint64_t synchronous[place_count] = {};  // of them, those that were written through to the flash
  uint64_t refused = 0;
  uint64_t unknown = 0;  // their answer did not come
  uint64_t unasked = 0;  // they wanted none, and a death came before any other answer
  uint64_t deaths = 0;
  uint64_t hits = 0;           // rings that were damaged by a death
  uint64_t half_written = 0;   // entries shown that were being written at a death
  uint64_t untrue_in_hit = 0;  // entries shown by a ring that was hit, which nobody sent like that
};

// What the files show while the daemon is dead. The searches, in the file and in the copies, are
// made only for files in which something is missing.
struct evidence {
  std::map<uint16_t, sighting> files;  // by file type
  std::function<std::vector<author>(uint16_t)> search_file;
  std::function<std::vector<author>(uint16_t)> search_copies;
};

class audit {
 public:
  audit(const part &of, const ledger &notes);

  // The daemon died before `when` and was not started again until after the look that follows.
  void death(moment when) { deaths_.push_back(when); }

  // Looks for everything; `now` is a moment before the next start.
  void look(const evidence &found, moment now);

  tally result() const;

  // The broken promises. Only the first hundred are kept as text.
  const std::vector<std::string> &failures() const { return failures_; }
  uint64_t failure_count() const { return failure_count_; }
  // Which rings were hit, one line each.
  const std::vector<std::string> &hits() const { return hits_; }

 private:
  struct tracked {
    standing what = standing::none;  // as of this look
    moment until = never;            // it was done by then, if it ever was
    bool promised = false;
    place was = place::not_promised;
    place seen = place::lost;  // in this look
  };
  struct file_state {
    bool damaged = false;
    moment hit_at = 0;
    moment hit_until = 0;  // records sent before may be gone
    bool stub_now = false;
    moment stub_at = never;  // records sent behind may be gone, until the next look
    moment looked_at = 0;
  };
  // An entry that is updated.
  struct slot {
    std::vector<author> may_hold;  // the last update that is stored, and later ones without answer
    bool any_stored = false;
  };
  struct key_rows {
    moment began = never;
    std::vector<slot> slots;
  };
  using rows_by_key = std::map<std::pair<uint32_t, uint16_t>, key_rows>;  // by sender and type

  void take_in(uint32_t sender);
  void add_up_appended();
  moment first_death_after(moment when) const;

  void look_at_file(const volume &of, const evidence &found, moment now);
  void judge_condition(const volume &of, const sighting &seen, moment now);
  void judge_untrue(const volume &of, const sighting &seen);
  void judge_order(const volume &of, const sighting &seen);
  bool was_being_written(const volume &of, const untrue_entry &entry) const;

  void place_plain(const volume &of, author who);
  void place_slot(const volume &of, const sighting &seen, const key_rows &rows, const slot &one);
  place find(const volume &of, author who, moment began);
  std::optional<place> later_update(const sighting &seen, const slot &one) const;
  bool is_head_of(const untrue_entry &entry, author who) const;
  bool is_missing(author who) const;
  bool is_missing(const slot &one) const;
  rows_by_key rows_of(uint16_t file_type);
  static void replace(tracked &former);
  void see(const std::vector<author> &there, place where);
  uint64_t appended_behind(author who, moment since) const;
  void fail(const std::string &what);

  tracked &at(author who) { return records_[who.sender][who.number]; }
  const tracked &at(author who) const { return records_[who.sender][who.number]; }
  const sent_record &note(author who) const { return notes_.at(who.sender, who.number); }
  template <typename Visitor>
  void for_each_of(uint16_t file_type, Visitor visit) const;

  const part &part_;
  const ledger &notes_;
  std::vector<moment> deaths_;
  std::vector<std::vector<tracked>> records_;  // by sender and number
  std::map<uint16_t, file_state> files_;
  // By file, the latest first: when records were done at the latest, and the bytes that were
  // appended by them and by all that were done later.
  std::map<uint16_t, std::vector<std::pair<moment, uint64_t>>> appended_;
  std::set<std::pair<uint16_t, untrue_entry>> half_written_;
  std::set<std::pair<uint16_t, untrue_entry>> untrue_in_hit_;
  std::vector<std::string> failures_;
  uint64_t failure_count_ = 0;
  std::vector<std::string> hits_;
  size_t hits_before_ = 0;
};

}  // namespace vesk::soak
