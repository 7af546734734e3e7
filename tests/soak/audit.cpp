#include "tests/soak/audit.h"

#include <algorithm>

namespace vesk::soak {
namespace {

constexpr size_t most_failures = 100;

bool settled(place was) {
  return was >= place::discarded;
}

std::string name_of(author who) {
  return "record " + std::to_string(who.number) + " of sender " + std::to_string(who.sender);
}

}  // namespace

audit::audit(const part &of, const ledger &notes)
    : part_(of), notes_(notes), records_(notes.senders()) {}

void audit::fail(const std::string &what) {
  ++failure_count_;
  if (failures_.size() < most_failures) {
    failures_.push_back("death " + std::to_string(deaths_.size()) + ": " + what);
  }
}

// The records of a file in the order of each sender.
template <typename Visitor>
void audit::for_each_of(uint16_t file_type, Visitor visit) const {
  for (uint32_t sender = 0; sender < records_.size(); ++sender) {
    for (uint32_t number = 0; number < records_[sender].size(); ++number) {
      const author who{sender, number};
      if (note(who).file_type == file_type) visit(who);
    }
  }
}

moment audit::first_death_after(moment when) const {
  const auto found = std::upper_bound(deaths_.begin(), deaths_.end(), when);
  return found == deaths_.end() ? never : *found;
}

// What becomes known of a record by its own answer, by later answers, and by deaths.
void audit::take_in(uint32_t sender) {
  std::vector<tracked> &all = records_[sender];
  all.resize(notes_.begun(sender));
  moment later_answer = never;
  moment later_done = never;
  for (size_t number = all.size(); number-- > 0;) {
    const sent_record &sent = notes_.at(sender, static_cast<uint32_t>(number));
    tracked &record = all[number];
    record.what = sent.what;
    record.seen = place::lost;
    const moment death = first_death_after(sent.sent);
    if (record.what == standing::stored || record.what == standing::refused) {
      record.until = later_answer = sent.done;
      record.promised = record.what == standing::stored;
    } else {
      record.until = std::min(later_done, death);
      record.promised = record.what == standing::handed_in && later_answer < death;
    }
    later_done = record.until;
  }
}

void audit::add_up_appended() {
  appended_.clear();
  for (uint32_t sender = 0; sender < records_.size(); ++sender) {
    for (uint32_t number = 0; number < records_[sender].size(); ++number) {
      const sent_record &sent = notes_.at(sender, number);
      const tracked &record = records_[sender][number];
      if (record.what == standing::refused) continue;
      appended_[sent.file_type].emplace_back(record.until, span_of(sent.length));
    }
  }
  for (auto &[file_type, all] : appended_) {
    std::sort(all.rbegin(), all.rend());
    uint64_t sum = 0;
    for (auto &[until, bytes] : all) bytes = sum += bytes;
  }
}

// The bytes of all records that may have been appended since a moment, except its own.
uint64_t audit::appended_behind(author who, moment since) const {
  const auto &all = appended_.at(note(who).file_type);
  const auto older = std::partition_point(all.begin(), all.end(),
                                          [&](const auto &one) { return one.first > since; });
  const uint64_t sum = older == all.begin() ? 0 : std::prev(older)->second;
  const uint64_t own = at(who).until > since ? span_of(note(who).length) : 0;
  return sum - own;
}

void audit::look(const evidence &found, moment now) {
  for (uint32_t sender = 0; sender < records_.size(); ++sender) take_in(sender);
  add_up_appended();
  hits_before_ = hits_.size();
  for (const volume &of : part_.volumes) look_at_file(of, found, now);
  if (hits_.size() - hits_before_ > 1) fail("more than one file is damaged by it");
}

void audit::look_at_file(const volume &of, const evidence &found, moment now) {
  const sighting &seen = found.files.at(of.file_type);
  judge_condition(of, seen, now);
  judge_untrue(of, seen);
  judge_order(of, seen);

  see(seen.shown, place::chain);
  const rows_by_key rows = rows_of(of.file_type);
  bool missing = false;
  for_each_of(of.file_type, [&](author who) { missing |= is_missing(who); });
  for (const auto &[key, all] : rows) {
    for (const slot &one : all.slots) missing |= is_missing(one);
  }
  if (missing) {
    see(found.search_file(of.file_type), place::search);
    see(found.search_copies(of.file_type), place::copy);
  }
  for_each_of(of.file_type, [&](author who) { place_plain(of, who); });
  for (const auto &[key, all] : rows) {
    for (const slot &one : all.slots) place_slot(of, seen, all, one);
  }
}

void audit::see(const std::vector<author> &there, place where) {
  for (const author &who : there) {
    if (who.number >= records_[who.sender].size()) continue;
    tracked &record = at(who);
    record.seen = std::min(record.seen, where);
  }
}

void audit::judge_condition(const volume &of, const sighting &seen, moment now) {
  file_state &state = files_[of.file_type];
  state.stub_at = state.stub_now ? state.looked_at : never;
  state.stub_now = seen.found == condition::stub;
  state.looked_at = now;
  const bool damaged = seen.found == condition::damaged;
  if (damaged && !state.damaged) {
    state.hit_at = now;
    hits_.push_back("death " + std::to_string(deaths_.size()) + ": " + of.name +
                    " is damaged: " + seen.reason);
    if (!part_.wraps || !seen.full) fail(of.name + " is damaged and not full: " + seen.reason);
  }
  // What was sent since it was damaged may be gone, also where it was made anew meanwhile.
  if (part_.wraps && (damaged || state.damaged)) state.hit_until = now;
  state.damaged = damaged;
}

bool audit::is_head_of(const untrue_entry &entry, author who) const {
  const sent_record &sent = note(who);
  return entry.uuid == uuid_of(who.sender) && entry.type == sent.type && entry.secs == sent.secs &&
         entry.usecs == sent.usecs;
}

bool audit::was_being_written(const volume &of, const untrue_entry &entry) const {
  bool found = false;
  for_each_of(of.file_type, [&](author who) {
    const standing what = at(who).what;
    found |=
        (what == standing::unknown || what == standing::under_way || what == standing::handed_in) &&
        !at(who).promised && is_head_of(entry, who);
  });
  return found;
}

void audit::judge_untrue(const volume &of, const sighting &seen) {
  for (const untrue_entry &entry : seen.untrue) {
    if (half_written_.contains({of.file_type, entry})) continue;
    if (files_[of.file_type].hit_until != 0) {
      untrue_in_hit_.emplace(of.file_type, entry);
    } else if (was_being_written(of, entry) && half_written_.size() < deaths_.size()) {
      half_written_.emplace(of.file_type, entry);
    } else {
      fail(of.name + ": at " + std::to_string(entry.offset) +
           " an entry is shown that nobody sent like that");
    }
  }
}

// Records of one sender are appended in its order, and each once. Those that are updated stay where
// the first of them was.
void audit::judge_order(const volume &of, const sighting &seen) {
  const moment sound_since = files_[of.file_type].hit_until;
  std::vector<int64_t> last(records_.size(), -1);
  for (const author &who : seen.shown) {
    if (who.number >= records_[who.sender].size()) continue;
    if (note(who).keyed || note(who).sent < sound_since) continue;
    if (who.number <= last[who.sender]) {
      fail(of.name + ": " + name_of(who) + " is shown behind record " +
           std::to_string(last[who.sender]));
    }
    last[who.sender] = who.number;
  }
}

bool audit::is_missing(author who) const {
  const tracked &record = at(who);
  return !note(who).keyed && record.promised && !settled(record.was) && record.seen == place::lost;
}

bool audit::is_missing(const slot &one) const {
  return one.any_stored && !settled(at(one.may_hold[0]).was) &&
         std::all_of(one.may_hold.begin(), one.may_hold.end(),
                     [&](author who) { return at(who).seen == place::lost; });
}

// Where a record is whose entry was made when `began` or later, and why it may be missing. A file
// that no death has hit has to show it by itself.
place audit::find(const volume &of, author who, moment began) {
  const file_state &state = files_[of.file_type];
  const place seen = at(who).seen;
  if (seen == place::chain) return seen;
  if (part_.wraps && appended_behind(who, began) > kept_bytes(of.capacity, of.longest)) {
    return place::discarded;
  }
  if (note(who).sent < state.hit_until) {
    if (seen != place::lost) return seen;
    if (note(who).sent >= state.hit_at) return place::hit;
  }
  if (note(who).sent > state.stub_at) return place::cut_off;
  fail(of.name + ": " + name_of(who) + " was stored and is " +
       (seen == place::lost ? "lost" : "not shown any more"));
  return seen;
}

void audit::place_plain(const volume &of, author who) {
  tracked &record = at(who);
  if (record.what == standing::refused && record.was == place::not_promised) {
    const file_state &state = files_[of.file_type];
    const bool excused = note(who).sent < state.hit_until || note(who).sent > state.stub_at;
    if (!excused) fail(of.name + ": " + name_of(who) + " was refused");
    record.was = place::cut_off;
  }
  if (note(who).keyed || !record.promised || settled(record.was)) return;
  record.was = find(of, who, note(who).sent);
}

void audit::replace(tracked &former) {
  if (!settled(former.was)) former.was = place::replaced;
}

// What may be in each entry that is updated, as the sender knows it.
audit::rows_by_key audit::rows_of(uint16_t file_type) {
  rows_by_key all;
  for_each_of(file_type, [&](author who) {
    const sent_record &sent = note(who);
    const standing what = at(who).what;
    if (!sent.keyed || what == standing::refused) return;
    key_rows &rows = all[{who.sender, sent.type}];
    rows.began = std::min(rows.began, sent.sent);
    if (sent.update == 0 || rows.slots.empty()) rows.slots.emplace_back();
    const bool named = sent.instance > 0 && sent.instance <= rows.slots.size();
    slot &one = sent.update == 1 && named ? rows.slots[sent.instance - 1u] : rows.slots.back();
    if (what == standing::stored) {
      for (const author &former : one.may_hold) replace(at(former));
      one.may_hold.clear();
      one.any_stored = true;
    }
    one.may_hold.push_back(who);
  });
  return all;
}

// Whether an update is there, or half of it, that may have come behind the last one that is stored.
std::optional<place> audit::later_update(const sighting &seen, const slot &one) const {
  for (size_t i = 1; i < one.may_hold.size(); ++i) {
    const author who = one.may_hold[i];
    if (at(who).seen == place::chain) return place::replaced;
    for (const untrue_entry &entry : seen.untrue) {
      if (is_head_of(entry, who)) return place::cut_off;
    }
  }
  return {};
}

void audit::place_slot(const volume &of, const sighting &seen, const key_rows &rows,
                       const slot &one) {
  if (!one.any_stored) return;
  tracked &stored = at(one.may_hold[0]);
  if (settled(stored.was)) return;
  const bool shown = stored.seen == place::chain;
  const std::optional<place> later = shown ? std::nullopt : later_update(seen, one);
  stored.was = later ? *later : find(of, one.may_hold[0], rows.began);
}

tally audit::result() const {
  tally sums;
  for (uint32_t sender = 0; sender < records_.size(); ++sender) {
    for (uint32_t number = 0; number < records_[sender].size(); ++number) {
      const tracked &record = records_[sender][number];
      const sent_record &sent = notes_.at(sender, number);
      if (record.promised) {
        const auto where = static_cast<size_t>(record.was);
        ++sums.stored[where];
        if (sent.sync == 2) ++sums.synchronous[where];
      } else if (record.what == standing::refused) {
        ++sums.refused;
      } else if (record.what == standing::unknown) {
        ++sums.unknown;
      } else if (record.what == standing::handed_in) {
        ++sums.unasked;
      }
    }
  }
  sums.deaths = deaths_.size();
  sums.hits = hits_.size();
  sums.half_written = half_written_.size();
  sums.untrue_in_hit = untrue_in_hit_.size();
  return sums;
}

}  // namespace vesk::soak
