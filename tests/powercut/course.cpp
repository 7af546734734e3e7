#include "tests/powercut/course.h"

#include <algorithm>
#include <stdexcept>

#include "tests/powercut/ledger.h"
#include "tests/support/header_bytes.h"
#include "tools/shared/problem_text.h"

namespace vesk::test {

namespace {

constexpr entry_place nowhere{.id = 0, .offset = 0, .span = 0};

file_forecast predict(const power_case &c, const maybe_image &file) {
  file_forecast predicted{};
  if (!file) return predicted;
  if (failure why = forecast(c.file_type, *file, false, predicted)) {
    throw std::runtime_error(why.reason);
  }
  return predicted;
}

entry_place place_in(const std::vector<entry_place> &entries, entry_id id) {
  const auto found =
      std::find_if(entries.begin(), entries.end(), [&](const auto &e) { return e.id == id; });
  return found == entries.end() ? nowhere : *found;
}

// A reason without its numbers.
std::string kind_of(const std::string &reason) {
  std::string kind;
  for (const char c : reason) {
    const bool digit = c >= '0' && c <= '9';
    if (!digit) kind += c;
    if (digit && !kind.ends_with('#')) kind += '#';
  }
  return kind;
}

std::string cause_of_removal(const file_forecast &predicted) {
  if (predicted.repair_failure) {
    return "file removed, for it cannot be repaired: " +
           kind_of(shared::repair_failure_text(predicted));
  }
  return "file removed: " + kind_of(shared::objection_text(predicted));
}

// Why an entry that was in the file before a start cannot be read behind it.
std::string cause_of_loss(const entry_place &entry, const maybe_image &before,
                          const daemon_step &step, const file_forecast &predicted) {
  if (!step.file) return before ? cause_of_removal(predicted) : "there is no file";
  const image &file = *step.file;
  if (id_at(file, entry) != entry.id) {
    const bool was_there = before && id_at(*before, entry) == entry.id;
    return was_there ? "overwritten by the repair" : "overwritten before the start";
  }
  const bool left_alone = step.writes.empty();
  if (!header_holds_at(file, entry.offset)) {
    return left_alone ? "its header was rewritten by an earlier repair"
                      : "its header was rewritten by the repair";
  }
  if (!is_live(file, entry.offset)) {
    return left_alone ? "outside of the ring that an earlier repair left"
                      : "outside of the ring as it was rebuilt";
  }
  return left_alone ? "behind a break of the chain that start-up does not see"
                    : "behind a break of the chain in the rebuilt ring";
}

void expect_as_predicted(const file_forecast &predicted, const maybe_image &before,
                         const daemon_step &start, const std::string &which, losses &found) {
  if (!start.ended) found.failures.push_back(which + " does not end");
  const bool as_kept = !touched(before, start);
  if (as_kept != (predicted.fate == file_fate::keep)) {
    found.failures.push_back(which + ": predicted was \"" + std::string(fate_name(predicted.fate)) +
                             "\", but it " +
                             (as_kept ? "left the file alone" : "touched the file"));
  }
  if (predicted.fate == file_fate::rebuild && predicted.rebuilt != start.file) {
    found.failures.push_back(which + ": the file is not rebuilt as was predicted");
  }
}

// What a search finds in the file after each start, and in the copies made before.
class searches {
 public:
  searches(const power_case &c, const cut_state &state, const course &course)
      : c_(c), state_(state), course_(course) {}

  bool first_file_has(entry_id id) { return after_first().contains(id); }
  bool first_has(entry_id id) { return after_first().contains(id) || first_copies().contains(id); }
  bool second_has(entry_id id) {
    return after_second().contains(id) || first_copies().contains(id) || second_copy().contains(id);
  }

 private:
  const entry_ids &after_first() { return once(after_first_, {&course_.first.file}); }
  const entry_ids &after_second() { return once(after_second_, {&course_.second.file}); }
  const entry_ids &first_copies() {
    std::vector<const maybe_image *> copies;
    for (const maybe_image &copy : state_.copies) copies.push_back(&copy);
    if (is_preserved(course_.first_forecast)) copies.push_back(&state_.file);
    return once(first_copies_, copies);
  }
  const entry_ids &second_copy() {
    std::vector<const maybe_image *> copies;
    if (is_preserved(course_.second_forecast)) copies.push_back(&course_.next.file);
    return once(second_copy_, copies);
  }

  // A search takes long, and mostly nothing is lost.
  const entry_ids &once(std::optional<entry_ids> &found,
                        const std::vector<const maybe_image *> &files) const {
    if (found) return *found;
    found.emplace();
    for (const maybe_image *file : files) add_salvaged(*file, c_.capacity, *found);
    return *found;
  }

  const power_case &c_;
  const cut_state &state_;
  const course &course_;
  std::optional<entry_ids> after_first_, after_second_, first_copies_, second_copy_;
};

// Where the next record was put; of span 0 where it was refused, or was given up at once.
entry_place place_of_next(const power_case &c, const daemon_step &next) {
  if (!next.served || !next.file) return nowhere;
  const uint32_t span = header_size + ((c.next.len + 3u) & ~3u);
  const uint32_t end = gheader_of(*next.file).end;
  const entry_place place{.id = id_of(c.next), .offset = end - span, .span = span};
  return is_live(*next.file, place.offset) ? place : nowhere;
}

void count_second(const course &course, losses &found) {
  found.second_removed = course.next.file && !course.second.file;
  found.second_changed = !found.second_removed && !course.second.writes.empty();
}

}  // namespace

operation_run run_uncut(daemon_in_memory &daemon, const power_case &c) {
  operation_run run{};
  run.in_order = true;
  run.after = c.before;
  for (const record_fields &fields : c.operation) {
    daemon_step step = daemon.log(run.after, fields);
    run.writes.insert(run.writes.end(), step.writes.begin(), step.writes.end());
    run.ends.push_back(run.writes.size());
    run.in_order = run.in_order && fields.sync == 2;
    run.after = std::move(step.file);
  }
  for (const entry_place &entry : readable_entries(c.before, c.capacity)) {
    if (!is_discarded(entry, c.before, run.after, run.writes)) run.kept.push_back(entry);
  }
  const std::vector<entry_place> readable = readable_entries(run.after, c.capacity);
  for (const record_fields &fields : c.operation) {
    run.own.push_back(place_in(readable, id_of(fields)));
  }
  const entry_ids kept = ids_of(run.kept);
  for (const entry_place &entry : readable) {
    if (!kept.contains(entry.id)) run.made_readable.push_back(entry);
  }
  return run;
}

std::vector<entry_place> entries_at(const operation_run &run, const power_cut &cut) {
  std::vector<entry_place> entries = run.kept;
  if (is_whole(cut, 0, run.writes.size())) {
    entries.insert(entries.end(), run.made_readable.begin(), run.made_readable.end());
    return entries;
  }
  size_t first = 0;
  for (size_t i = 0; i < run.own.size(); ++i) {
    if (run.own[i].span > 0 && is_whole(cut, first, run.ends[i])) entries.push_back(run.own[i]);
    first = run.ends[i];
  }
  return entries;
}

bool is_preserved(const file_forecast &predicted) {
  return predicted.fate != file_fate::keep;
}

course take_course(daemon_in_memory &daemon, const power_case &c, const maybe_image &file) {
  course course;
  course.first_forecast = predict(c, file);
  course.first = daemon.start(file);
  course.next = daemon.log(course.first.file, c.next);
  course.served_again = course.next.served || daemon.log(course.next.file, c.next).served;
  course.second_forecast = predict(c, course.next.file);
  course.second = daemon.start(course.next.file);
  return course;
}

losses losses_of(const power_case &c, const cut_state &state, const course &course) {
  losses found;
  expect_as_predicted(course.first_forecast, state.file, course.first, "the first start", found);
  expect_as_predicted(course.second_forecast, course.next.file, course.second, "the second start",
                      found);
  if (!course.next.ended) found.failures.push_back("the next record does not come to an end");
  if (!course.served_again) found.failures.push_back("the next record is refused twice");
  found.refused = !course.next.served;
  count_second(course, found);

  const std::vector<entry_place> shown = readable_entries(course.first.file, c.capacity);
  const entry_ids first = ids_of(shown);
  for (const entry_place &entry : shown) found.untrue += c.sent.contains(entry.id) ? 0 : 1;
  const std::vector<entry_place> last = readable_entries(course.second.file, c.capacity);
  const entry_ids second = ids_of(last);

  searches searches(c, state, course);
  found.entries = static_cast<uint32_t>(state.entries.size());
  for (const entry_place &entry : state.entries) {
    const bool lost_first = !first.contains(entry.id);
    const bool discarded =
        is_discarded(entry, course.first.file, course.next.file, course.next.writes);
    const bool lost_second = !second.contains(entry.id) && (lost_first || !discarded);
    found.first += lost_first ? 1 : 0;
    found.second += lost_second ? 1 : 0;
    if (lost_first) {
      ++found.causes["first start: " +
                     cause_of_loss(entry, state.file, course.first, course.first_forecast)];
    } else if (lost_second) {
      ++found.causes["second start: " +
                     cause_of_loss(entry, course.next.file, course.second, course.second_forecast)];
    }
    found.with_search += lost_first && !searches.first_file_has(entry.id) ? 1 : 0;
    const bool gone = (lost_first && !searches.first_has(entry.id)) ||
                      (lost_second && !discarded && !searches.second_has(entry.id));
    found.with_copy += gone ? 1 : 0;
  }
  const entry_place next = place_of_next(c, course.next);
  if (next.span > 0 && !second.contains(next.id)) {
    ++found.second;
    ++found.causes["the next record, second start: " +
                   cause_of_loss(next, course.next.file, course.second, course.second_forecast)];
    found.with_copy += searches.second_has(next.id) ? 0 : 1;
  }
  return found;
}

}  // namespace vesk::test
