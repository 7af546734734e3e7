#include "tests/faults/table.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <string_view>

#include "tests/faults/remount.h"

namespace vesk::test {

namespace {

void replace_all(std::string &text, std::string_view what, const std::string &with) {
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at)) {
    text.replace(at, what.size(), with);
  }
}

void append_rows(event_list &to, const call_table &table, size_t from, size_t end) {
  for (size_t i = from; i < end; ++i) to.push_back(table[i].event);
}

// The row from which on the table's rest follows behind the failed one.
size_t first_of_rest(const call_table &table, size_t failed, const sequel &then) {
  if (std::holds_alternative<rest::none>(then.rest)) return table.size();
  if (std::holds_alternative<rest::all>(then.rest)) return failed + 1;
  const std::string &event = std::get<rest::from>(then.rest).event;
  for (size_t i = failed + 1; i < table.size(); ++i) {
    if (table[i].event == event) return i;
  }
  throw std::logic_error("no row \"" + event + "\" in the table");
}

// "read" of "read 20": the kind of a call of the system; of others, nothing.
std::string kind_of(const std::string &event) {
  return event.substr(0, event.find(' '));
}

bool remounts(const std::string &event) {
  const std::string kind = kind_of(event);
  return kind == "read" || kind == "write" || event.starts_with("stat /mnt/");
}

event_list with_remounts(const event_list &plain, size_t failed, const failure &failure,
                         lasting lasts) {
  if (failure.error != EIO) return plain;
  const std::string kind = kind_of(plain[failed]);
  bool marked = true;  // the marker can be seen
  event_list all;
  for (size_t i = 0; i < plain.size(); ++i) {
    all.push_back(plain[i]);
    const bool fails = i == failed || (i > failed && lasts == lasting::for_ever);
    if (!fails || kind_of(plain[i]) != kind || !remounts(plain[i])) continue;
    // When status calls fail for ever, so does the one that looks for the marker.
    if (kind == "stat" && lasts == lasting::for_ever) marked = false;
    if (marked) {
      all = all + remount;
    } else {
      all.push_back(remount.front());
    }
    marked = false;
  }
  return all;
}

}  // namespace

sequel operator+(const event_list &events, sequel then) {
  then.events = events + then.events;
  return then;
}

bool matching::fits(const failure &failure, bool is_transfer, lasting lasts) const {
  if (!(lasts == lasting::once ? once : for_ever)) return false;
  if (least <= failure.result && failure.result <= most) return true;
  const bool is_error = !is_transfer || failure.result < 0;
  return errors && is_error &&
         (errnos.empty() || std::find(errnos.begin(), errnos.end(), failure.error) != errnos.end());
}

matching any_error() {
  return {.errors = true};
}

matching on(std::vector<int> errnos) {
  return {.errors = true, .errnos = std::move(errnos)};
}

matching counts(int64_t least, int64_t most) {
  return {.least = least, .most = most};
}

matching returning(int64_t result) {
  return {.least = result, .most = result};
}

matching only_once(matching failures) {
  failures.for_ever = false;
  return failures;
}

row ignored(const std::string &call) {
  return {call, {{any_error(), {.rest = rest::all{}}}}};
}

void add(call_table &to, const call_table &more) {
  to.insert(to.end(), more.begin(), more.end());
}

event_list lines_of(const transcript &transcript) {
  return transcript.events + event_list{as_text(transcript.ends)};
}

transcript expected_transcript(const call_table &table, const ending &usual) {
  transcript expected{.events = {}, .ends = usual};
  append_rows(expected.events, table, 0, table.size());
  return expected;
}

transcript expected_transcript(const call_table &table, const ending &usual, size_t row,
                               const rule &rule, const failure &failure, lasting lasts) {
  const sequel &then = rule.then;
  event_list plain;
  append_rows(plain, table, 0, row + 1);
  for (std::string event : then.events) {
    replace_all(event, "%e", std::to_string(failure.error));
    replace_all(event, "%n", std::to_string(failure.result));
    plain.push_back(event);
  }
  append_rows(plain, table, first_of_rest(table, row, then), table.size());
  plain = plain + then.behind;
  return {with_remounts(plain, row, failure, lasts), then.ends.value_or(usual)};
}

const rule *find_rule(const row &row, const failure &failure, bool is_transfer, lasting lasts) {
  const auto found = std::find_if(row.rules.begin(), row.rules.end(), [&](const rule &rule) {
    return rule.failures.fits(failure, is_transfer, lasts);
  });
  return found == row.rules.end() ? nullptr : &*found;
}

}  // namespace vesk::test
