#include "tools/veskshow/filter.h"

#include <algorithm>

#include "tools/shared/text.h"
#include "tools/shared/time.h"
#include "tools/veskshow/output.h"

namespace vesk::veskshow {

namespace {

std::string quoted(const std::string &typed) {
  return "'" + typed + "'";
}

// Both bounds are read with the same `now`, so that "since now until now" is a moment.
failure read_time(const std::string &option, const std::string &typed, uint64_t now,
                  shared::time_zone zone, std::optional<uint64_t> &ret_time) {
  if (typed.empty()) return {};
  ret_time = shared::parse_time(typed, now, zone);
  if (ret_time) return {};
  return {option + ": cannot understand the time " + quoted(typed) +
          "; write it like \"2026-01-31 12:00:00\", \"yesterday\" or \"1h 30min ago\""};
}

failure read_numbers(const std::string &option, const std::vector<std::string> &all_typed,
                     const numbered_names &names, std::vector<uint16_t> &ret_numbers) {
  for (const std::string &typed : all_typed) {
    if (const auto number = number_of(names, typed)) {
      ret_numbers.push_back(*number);
    } else if (shared::is_digits(typed)) {
      return {option + ": " + typed + " is not a number from 0 to 65535"};
    } else {
      return {option + ": " + quoted(typed) +
              (names.empty() ? " is no number, and --names gives no names for them"
                             : " is neither a number nor a name that --names gives")};
    }
  }
  return {};
}

failure read_pattern(const options &wanted, std::optional<text_pattern> &ret_pattern) {
  if (!wanted.pattern_given) return {};
  const failure why = text_pattern::compile(wanted.pattern, ret_pattern);
  return {why ? "--grep: " + quoted(wanted.pattern) + ": " + why.reason : ""};
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

failure make_filter(const options &wanted, const name_table &names, uint64_t now,
                    entry_filter &ret_filter) {
  for (const failure &why : {
           read_time("--since", wanted.since, now, wanted.zone, ret_filter.since),
           read_time("--until", wanted.until, now, wanted.zone, ret_filter.until),
           read_numbers("--uuid", wanted.uuids, names.uuids, ret_filter.uuids),
           read_numbers("--type", wanted.types, names.types, ret_filter.types),
           read_pattern(wanted, ret_filter.pattern),
       }) {
    if (why) return why;
  }
  if (ret_filter.since && ret_filter.until && *ret_filter.since > *ret_filter.until) {
    return {"--since: " + quoted(wanted.since) + " is later than --until " + quoted(wanted.until)};
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
