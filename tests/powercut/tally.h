// What many cuts come to, as a table that people and programs read, and against the one committed.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tests/powercut/course.h"

namespace vesk::test {

constexpr const char *columns[] = {"cuts",   "entries", "lost 1st", "lost 2nd",  "2nd wrote",
                                   "2nd rm", "untrue",  "refused",  "lost+find", "lost+copy"};
constexpr size_t column_count = std::size(columns);
constexpr size_t first_loss = 2;  // the columns before it say what was tried, not what was lost

// One row of the table.
struct tally {
  uint64_t sums[column_count] = {};
  uint64_t worst[column_count] = {};           // the most that one cut has added to a column,
  std::string worst_cut[column_count];         // and the first cut that did
  std::map<std::string, uint64_t> causes;      // entries lost by each
  std::map<std::string, uint64_t> cause_cuts;  // cuts at which that happened
  std::vector<std::string> failures;           // a few of them, with their cuts

  void add(const losses &found, const std::string &cut);
  void add(const tally &other);
};

struct named_tally {
  std::string name;
  tally row;
};

// The table of the rows and that of the causes.
std::string as_table(const std::vector<named_tally> &rows);

// What is worse than in the committed table, each with a cut to look at, or differs in what was
// tried; and what is always a failure. Empty when all is as it should be.
std::vector<std::string> complaints(const std::vector<named_tally> &rows,
                                    std::string_view committed);

// The same without a committed table.
std::vector<std::string> failures_of(const std::vector<named_tally> &rows);

// For the way from one process to another.
std::string as_text(const tally &row);
tally tally_of(const std::string &text);

}  // namespace vesk::test
