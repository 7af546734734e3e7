// What is expected: a table for each workload, written out by hand.
//
// A table's rows are the events of the workload when nothing fails, in their order: calls as
// event_text.h tells them, error lines behind "! ", and at the end what came of it, behind "= ".
// Behind a call stand the rules for its failures: which failures, and the events that follow then.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/faults/failure.h"

namespace vesk::test {

using event_list = std::vector<std::string>;

// One list behind the other.
template <typename Value>
std::vector<Value> operator+(std::vector<Value> left, const std::vector<Value> &right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// In a rule's events: "%e" in a line is the failed call's errno, "%n" its result, and
//   the_rest          the table's further events,
//   rest_from(event)  those from the next such event on,
//   rest_until_end    all of them but the last, which says what came of it,
//   rest_from_until_end(event)  both at once.
inline const std::string the_rest = "(the rest)";
inline const std::string rest_until_end = "(the rest until the end)";
std::string rest_from(const std::string &event);
std::string rest_from_until_end(const std::string &event);

// Failures for which a rule holds.
struct matching {
  std::vector<int> errnos;  // of a result of -1; none: any errno
  bool errors = false;      // results of -1
  bool others = false;      // any other, of calls that are no transfers
  int64_t least = 0, most = -1;
  bool once = true, for_ever = true;

  bool fits(const failure &failure, bool is_transfer, lasting lasts) const;
};

matching any_error();
matching on(std::vector<int> errnos);
matching other_results();                      // than -1, of calls that are no transfers
matching counts(int64_t least, int64_t most);  // of a read or a write that falls short
matching only_once(matching failures);
matching for_ever(matching failures);

struct rule {
  matching failures;
  event_list then;
  // The line for which the next record is refused, its file removed and only the one after it
  // stored. Empty: it is stored. (Behind another start it always is.)
  std::string refused_next = {};
};

struct row {
  std::string event;
  std::vector<rule> rules = {};
};

// A call whose failure changes nothing.
row ignored(const std::string &call);

// The first rule that fits holds.
using call_table = std::vector<row>;
void add(call_table &to, const call_table &more);

// "read" of "read 20": the kind of a call of the system; of others, nothing.
std::string kind_of(const std::string &event);

// The events expected when the call of this row fails, the row's own among them.
//
// One rule is stated here for all tables: a status call on the log directory or a file in it, a
// read or a write that fails or falls short with EIO has the flash mounted again before anything
// else happens; but as long as the marker is not back, it is only looked for.
event_list expected_events(const call_table &table, size_t row, const rule &rule,
                           const failure &failure, lasting lasts);

const rule *find_rule(const row &row, const failure &failure, bool is_transfer, lasting lasts);

}  // namespace vesk::test
