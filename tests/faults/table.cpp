#include "tests/faults/table.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <string_view>

#include "tests/faults/remount.h"

namespace vesk::test {

namespace {

constexpr char from_mark[] = "(the rest from) ";
constexpr char from_until_mark[] = "(the rest until the end from) ";

void replace_all(std::string &text, std::string_view what, const std::string &with) {
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at)) {
    text.replace(at, what.size(), with);
  }
}

void append_rows(event_list &to, const call_table &table, size_t from, size_t end) {
  for (size_t i = from; i < end; ++i) to.push_back(table[i].event);
}

size_t find_event(const call_table &table, size_t from, const std::string &event) {
  for (size_t i = from; i < table.size(); ++i) {
    if (table[i].event == event) return i;
  }
  throw std::logic_error("no row \"" + event + "\" in the table");
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

std::string rest_from(const std::string &event) {
  return from_mark + event;
}

std::string rest_from_until_end(const std::string &event) {
  return from_until_mark + event;
}

bool matching::fits(const failure &failure, bool is_transfer, lasting lasts) const {
  if (!(lasts == lasting::once ? once : for_ever)) return false;
  if (is_transfer && failure.result >= 0) {
    return least <= failure.result && failure.result <= most;
  }
  return errors &&
         (errnos.empty() || std::find(errnos.begin(), errnos.end(), failure.error) != errnos.end());
}

matching any_error() {
  return {.errnos = {}, .errors = true};
}

matching on(std::vector<int> errnos) {
  return {.errnos = std::move(errnos), .errors = true};
}

matching other_results() {
  return {.errnos = {}, .others = true};
}

matching counts(int64_t least, int64_t most) {
  return {.errnos = {}, .least = least, .most = most};
}

matching only_once(matching failures) {
  failures.for_ever = false;
  return failures;
}

matching for_ever(matching failures) {
  failures.once = false;
  return failures;
}

row ignored(const std::string &call) {
  return {call, {{any_error(), {the_rest}}, {other_results(), {the_rest}}}};
}

void add(call_table &to, const call_table &more) {
  to.insert(to.end(), more.begin(), more.end());
}

std::string kind_of(const std::string &event) {
  return event.substr(0, event.find(' '));
}

event_list expected_events(const call_table &table, size_t row, const rule &rule,
                           const failure &failure, lasting lasts) {
  event_list plain;
  append_rows(plain, table, 0, row + 1);
  for (std::string event : rule.then) {
    if (event == the_rest) {
      append_rows(plain, table, row + 1, table.size());
    } else if (event == rest_until_end) {
      append_rows(plain, table, row + 1, table.size() - 1);
    } else if (event.starts_with(from_mark)) {
      const std::string first = event.substr(sizeof from_mark - 1);
      append_rows(plain, table, find_event(table, row + 1, first), table.size());
    } else if (event.starts_with(from_until_mark)) {
      const std::string first = event.substr(sizeof from_until_mark - 1);
      append_rows(plain, table, find_event(table, row + 1, first), table.size() - 1);
    } else {
      replace_all(event, "%e", std::to_string(failure.error));
      replace_all(event, "%n", std::to_string(failure.result));
      plain.push_back(event);
    }
  }
  return with_remounts(plain, row, failure, lasts);
}

const rule *find_rule(const row &row, const failure &failure, bool is_transfer, lasting lasts) {
  const auto found = std::find_if(row.rules.begin(), row.rules.end(), [&](const rule &rule) {
    return rule.failures.fits(failure, is_transfer, lasts);
  });
  return found == row.rules.end() ? nullptr : &*found;
}

}  // namespace vesk::test
