#include "tools/veskshow/filter.h"

#include <algorithm>
#include <map>

#include "tools/shared/text.h"
#include "tools/shared/time.h"
#include "tools/veskshow/output.h"
#include "tools/veskshow/pattern.h"

namespace vesk::veskshow {

namespace {

using numbered_names = std::map<uint16_t, std::string>;

std::string quoted(const std::string &typed) {
  return "'" + typed + "'";
}

// Both bounds are judged by the same `now`, so that "since now until now" is a moment.
std::string read_time(const std::string &option, const std::string &typed, uint64_t now,
                      shared::time_zone zone, std::optional<uint64_t> &time) {
  if (typed.empty()) return {};
  time = shared::parse_time(typed, now, zone);
  if (time) return {};
  return option + ": cannot understand the time " + quoted(typed) +
         "; write it like \"2026-01-31 12:00:00\", \"yesterday\" or \"1h 30min ago\"";
}

std::string read_numbers(const std::string &option, const std::vector<std::string> &all_typed,
                         const numbered_names &names, std::vector<uint16_t> &numbers) {
  for (const std::string &typed : all_typed) {
    const auto number = number_of(names, typed);
    if (number) {
      numbers.push_back(*number);
      continue;
    }
    if (!typed.empty() && typed.find_first_not_of("0123456789") == std::string::npos) {
      return option + ": " + typed + " is not a number from 0 to 65535";
    }
    return option + ": " + quoted(typed) +
           (names.empty() ? " is no number, and --names gives no names for them"
                          : " is neither a number nor a name that --names gives");
  }
  return {};
}

std::string read_pattern(const options &wanted, entry_filter &filter) {
  if (!wanted.pattern_given) return {};
  std::string reason;
  filter.pattern = text_pattern::compile(wanted.pattern, reason);
  return filter.pattern ? "" : "--grep: " + quoted(wanted.pattern) + ": " + reason;
}

bool is_among(const std::vector<uint16_t> &numbers, uint16_t number) {
  return numbers.empty() || std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

bool is_in_time(const entry_filter &filter, const ring_entry &entry) {
  const uint64_t stamp = stamp_of(entry);
  return (!filter.since || stamp >= *filter.since) && (!filter.until || stamp <= *filter.until);
}

bool has_match(const text_pattern &pattern, const ring_entry &entry) {
  const auto text = shared::text_of(entry.data);
  return text && pattern.matches(*text);
}

}  // namespace

std::string make_filter(const options &wanted, const name_table &names, uint64_t now,
                        entry_filter &filter) {
  for (const std::string &reason : {
           read_time("--since", wanted.since, now, wanted.zone, filter.since),
           read_time("--until", wanted.until, now, wanted.zone, filter.until),
           read_numbers("--uuid", wanted.uuids, names.uuids, filter.uuids),
           read_numbers("--type", wanted.types, names.types, filter.types),
           read_pattern(wanted, filter),
       }) {
    if (!reason.empty()) return reason;
  }
  if (filter.since && filter.until && *filter.since > *filter.until) {
    return "--since: " + quoted(wanted.since) + " is later than --until " + quoted(wanted.until);
  }
  return {};
}

bool passes(const entry_filter &filter, const ring_entry &entry) {
  return is_among(filter.uuids, entry.uuid) && is_among(filter.types, entry.type) &&
         is_in_time(filter, entry) && (!filter.pattern || has_match(*filter.pattern, entry));
}

void report_given_up(const entry_filter &filter, output &out) {
  if (filter.pattern && filter.pattern->gave_up()) {
    out.problem("--grep", "The pattern takes too many steps; entries may be missing");
  }
}

}  // namespace vesk::veskshow
