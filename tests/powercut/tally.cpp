#include "tests/powercut/tally.h"

#include <algorithm>
#include <iomanip>
#include <optional>
#include <sstream>

namespace vesk::test {

namespace {

constexpr size_t most_failures = 3;  // told for each row
constexpr size_t column_width = 11;
constexpr size_t never = column_count - 1;  // the column in which nothing may be

struct cause_total {
  uint64_t entries = 0;
  uint64_t cuts = 0;
};

void keep_failure(std::vector<std::string> &failures, const std::string &failure) {
  if (failures.size() < most_failures) failures.push_back(failure);
}

// The figures of a committed row.
using figures = std::vector<uint64_t>;

// The lines of the table up to the first that is empty: a name without blanks, and the figures.
std::map<std::string, figures> rows_of(std::string_view committed) {
  std::map<std::string, figures> rows;
  std::istringstream in{std::string(committed)};
  std::string line;
  std::getline(in, line);  // the heading
  while (std::getline(in, line) && !line.empty()) {
    std::istringstream words(line);
    std::string name;
    words >> name;
    uint64_t figure;
    while (words >> figure) rows[name].push_back(figure);
  }
  return rows;
}

void compare(const named_tally &now, const figures &then, std::vector<std::string> &found) {
  for (size_t i = 0; i < column_count; ++i) {
    const std::string both =
        std::to_string(now.row.sums[i]) + ", committed are " + std::to_string(then[i]);
    if (i < first_loss && now.row.sums[i] != then[i]) {
      found.push_back(now.name + ": " + columns[i] + " " + both +
                      ": other cuts were tried than for the committed table");
    } else if (i >= first_loss && now.row.sums[i] > then[i]) {
      found.push_back(now.name + ": " + columns[i] + " " + both + "; most at " +
                      now.row.worst_cut[i]);
    }
  }
}

}  // namespace

void tally::add(const losses &found, const std::string &cut) {
  const uint64_t figures[column_count] = {1,
                                          found.entries,
                                          found.first,
                                          found.second,
                                          found.second_changed,
                                          found.second_removed,
                                          found.untrue,
                                          found.refused,
                                          found.with_search,
                                          found.with_copy};
  for (size_t i = 0; i < column_count; ++i) {
    sums[i] += figures[i];
    if (figures[i] <= worst[i]) continue;
    worst[i] = figures[i];
    worst_cut[i] = cut;
  }
  for (const auto &[cause, entries] : found.causes) {
    causes[cause] += entries;
    ++cause_cuts[cause];
  }
  for (const std::string &failure : found.failures) keep_failure(failures, cut + ": " + failure);
}

void tally::add(const tally &other) {
  for (size_t i = 0; i < column_count; ++i) {
    sums[i] += other.sums[i];
    if (other.worst[i] <= worst[i]) continue;
    worst[i] = other.worst[i];
    worst_cut[i] = other.worst_cut[i];
  }
  for (const auto &[cause, entries] : other.causes) causes[cause] += entries;
  for (const auto &[cause, cuts] : other.cause_cuts) cause_cuts[cause] += cuts;
  for (const std::string &failure : other.failures) keep_failure(failures, failure);
}

std::string as_table(const std::vector<named_tally> &rows) {
  size_t width = 5;
  for (const named_tally &row : rows) width = std::max(width, row.name.size());
  std::ostringstream out;
  const auto add = [&](const std::string &name, const tally &row) {
    out << std::left << std::setw(static_cast<int>(width)) << name << std::right;
    for (const uint64_t sum : row.sums) out << std::setw(column_width) << sum;
    out << "\n";
  };
  out << std::left << std::setw(static_cast<int>(width)) << "case" << std::right;
  for (const char *column : columns) out << std::setw(column_width) << column;
  out << "\n";
  tally all;
  for (const named_tally &row : rows) {
    add(row.name, row.row);
    all.add(row.row);
  }
  add("all", all);

  out << "\n"
      << std::setw(column_width) << "lost" << std::setw(column_width) << "at cuts"
      << "  by what\n";
  std::vector<std::pair<uint64_t, std::string>> causes;
  for (const auto &[cause, entries] : all.causes) causes.emplace_back(entries, cause);
  std::sort(causes.rbegin(), causes.rend());
  for (const auto &[entries, cause] : causes) {
    out << std::setw(column_width) << entries << std::setw(column_width) << all.cause_cuts[cause]
        << "  " << cause << "\n";
  }
  return out.str();
}

std::vector<std::string> failures_of(const std::vector<named_tally> &rows) {
  std::vector<std::string> found;
  for (const named_tally &row : rows) {
    found.insert(found.end(), row.row.failures.begin(), row.row.failures.end());
    if (row.row.sums[never] == 0) continue;
    found.push_back(row.name + ": " + std::to_string(row.row.sums[never]) +
                    " entries cannot be had at all any more; most at " + row.row.worst_cut[never]);
  }
  return found;
}

std::vector<std::string> complaints(const std::vector<named_tally> &rows,
                                    std::string_view committed) {
  std::vector<std::string> found = failures_of(rows);
  std::map<std::string, figures> then = rows_of(committed);
  for (const named_tally &row : rows) {
    const auto old = then.find(row.name);
    if (old == then.end() || old->second.size() != column_count) {
      found.push_back(row.name + ": not in the committed table");
      continue;
    }
    compare(row, old->second, found);
    then.erase(old);
  }
  then.erase("all");
  for (const auto &[name, figures] : then) found.push_back(name + ": committed, but not tried");
  return found;
}

// One item a line: a letter, and what belongs to it behind tabs.
std::string as_text(const tally &row) {
  std::ostringstream out;
  for (size_t i = 0; i < column_count; ++i) {
    out << "s\t" << i << "\t" << row.sums[i] << "\t" << row.worst[i] << "\t" << row.worst_cut[i]
        << "\n";
  }
  for (const auto &[cause, entries] : row.causes) {
    out << "c\t" << entries << "\t" << row.cause_cuts.at(cause) << "\t" << cause << "\n";
  }
  for (const std::string &failure : row.failures) out << "f\t" << failure << "\n";
  return out.str();
}

tally tally_of(const std::string &text) {
  tally row;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    std::vector<std::string> parts;
    std::istringstream items(line);
    for (std::string part; std::getline(items, part, '\t');) parts.push_back(part);
    parts.resize(5);
    if (parts[0] == "s") {
      const size_t i = std::stoul(parts[1]);
      row.sums[i] = std::stoull(parts[2]);
      row.worst[i] = std::stoull(parts[3]);
      row.worst_cut[i] = parts[4];
    } else if (parts[0] == "c") {
      row.causes[parts[3]] = std::stoull(parts[1]);
      row.cause_cuts[parts[3]] = std::stoull(parts[2]);
    } else if (parts[0] == "f") {
      row.failures.push_back(parts[1]);
    }
  }
  return row;
}

}  // namespace vesk::test
