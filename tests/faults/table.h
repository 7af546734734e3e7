// What is expected: a table for each workload, written out by hand.
//
// A table's rows are the events of the workload when nothing fails, in their order: calls as
// event_text.h writes them, and error lines behind "! ". Behind a call stand the rules for its
// failures: which failures, and what follows then.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tests/faults/ending.h"
#include "tests/faults/failure.h"

namespace vesk::test {

using event_list = std::vector<std::string>;

// One list behind the other.
template <typename Value>
std::vector<Value> operator+(std::vector<Value> left, const std::vector<Value> &right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// How many of the table's further events follow: none, all of them, or those from the next such
// event on.
namespace rest {
struct none {};
struct all {};
struct from {
  std::string event;
};
}  // namespace rest

// What follows a failed call. In an event, "%e" is the failed call's errno and "%n" its result.
struct sequel {
  event_list events = {};
  std::variant<rest::none, rest::all, rest::from> rest = rest::none{};
  event_list behind = {};           // the rest
  std::optional<ending> ends = {};  // none: as when nothing fails
};

// The events first.
sequel operator+(const event_list &events, sequel then);

// Failures for which a rule holds.
struct matching {
  bool errors = false;           // all but short counts
  std::vector<int> errnos = {};  // only these errors; none: any
  int64_t least = 0, most = -1;  // results
  bool once = true, for_ever = true;

  bool fits(const failure &failure, bool is_transfer, lasting lasts) const;
};

matching any_error();
matching on(std::vector<int> errnos);
matching counts(int64_t least, int64_t most);  // of a read or a write that falls short
matching returning(int64_t result);
matching only_once(matching failures);

struct rule {
  matching failures;
  sequel then;
  // The line for which the next record is refused, its file removed and only the one after it
  // stored. Empty: it is stored. (Behind another start it always is.)
  std::string refused_next = {};
};

struct row {
  std::string event;
  std::vector<rule> rules = {};  // the first one that fits holds
};

// A call whose failure changes nothing.
row ignored(const std::string &call);

using call_table = std::vector<row>;
void add(call_table &to, const call_table &more);

// What an operation did, and how it ended.
struct transcript {
  event_list events;
  ending ends;

  bool operator==(const transcript &) const = default;
};

// For people: the events, and the ending as the last of them.
event_list lines_of(const transcript &transcript);

// What is expected when nothing fails.
transcript expected_transcript(const call_table &table, const ending &usual);

// What is expected when the call of this row fails, the row's own event among it.
//
// One rule is stated here for all tables: a status call on the log directory or a file in it, a
// read or a write that fails or falls short with EIO has the flash mounted again before anything
// else happens; but as long as the marker is not back, it is only looked for.
transcript expected_transcript(const call_table &table, const ending &usual, size_t row,
                               const rule &rule, const failure &failure, lasting lasts);

const rule *find_rule(const row &row, const failure &failure, bool is_transfer, lasting lasts);

}  // namespace vesk::test
