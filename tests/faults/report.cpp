#include "tests/faults/report.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace vesk::test {

namespace {

constexpr size_t most_pictures = 3;  // of one workload
constexpr const char *columns[] = {"faults",  "as usual", "otherwise", "removed",
                                   "refused", "remounts", "next ref.", "unexpected"};
constexpr int column_width = 11;

std::string ordinal(uint32_t number) {
  const uint32_t last = number % 10;
  const bool teen = number % 100 / 10 == 1;
  const char *const ending = teen || last == 0 || last > 3 ? "th"
                             : last == 1                   ? "st"
                             : last == 2                   ? "nd"
                                                           : "rd";
  return std::to_string(number) + ending;
}

std::string on_one_line(const std::string &event) {
  std::string text;
  for (const char c : event) text += c == '\n' ? "\\n" : std::string(1, c);
  return text + "\n";
}

std::string block(const event_list &events, size_t from, size_t end, const char *margin) {
  std::string text;
  for (size_t i = from; i < end; ++i) text += margin + on_one_line(events[i]);
  return text;
}

std::string told_without_fault(const std::vector<std::string> &lines) {
  std::string text;
  for (const std::string &line : lines) text += on_one_line(line);
  return text;
}

fault_count &row_of(const std::string &name, report &to) {
  const auto found = std::find_if(to.rows.begin(), to.rows.end(),
                                  [&](const fault_count &row) { return row.name == name; });
  if (found != to.rows.end()) return *found;
  to.rows.push_back({.name = name});
  return to.rows.back();
}

}  // namespace

std::string in_words(const fault_point &point, const failure &failure, lasting lasts) {
  const bool is_transfer = point.kind == "read" || point.kind == "write";
  std::string text = "the " + ordinal(point.number) + " " + point.kind;
  text += failure.result == -1 ? " fails with " : is_transfer ? " stops at " : " returns ";
  return text + as_text(failure) +
         (lasts == lasting::once ? ", once" : ", and so do all behind it");
}

std::string picture_of(const workload &workload, const fault_point &point, const failure &failure,
                       lasting lasts, const trial_result &result) {
  const event_list expected = lines_of(result.expected), found = lines_of(result.found);
  const size_t most = std::min(expected.size(), found.size());
  size_t head = 0, tail = 0;
  while (head < most && expected[head] == found[head]) ++head;
  while (tail < most - head &&
         expected[expected.size() - 1 - tail] == found[found.size() - 1 - tail]) {
    ++tail;
  }
  const bool differs = expected.size() != found.size() || head < found.size();
  std::string text = workload.name + ": " + in_words(point, failure, lasts) + "\n";
  for (size_t i = 0; i < head; ++i) {
    text += (i == point.row ? "  -> " : "     ") + on_one_line(found[i]);
  }
  if (differs) {
    text += "   expected:\n" + block(expected, head, expected.size() - tail, "     - ") +
            "   found:\n" + block(found, head, found.size() - tail, "     + ");
  }
  text += block(found, found.size() - tail, found.size(), "     ");
  for (const std::string &promise : result.broken) text += "  " + on_one_line(promise);
  return text;
}

void fault_count::add(const trial_result &result) {
  ++faults;
  ++effects[static_cast<size_t>(result.effect)];
  remounts += result.remounted;
  refused_next += result.refused_next;
  broken += !result.broken.empty();
}

void fault_count::add(const fault_count &other) {
  faults += other.faults;
  for (size_t i = 0; i < std::size(effects); ++i) effects[i] += other.effects[i];
  remounts += other.remounts;
  refused_next += other.refused_next;
  broken += other.broken;
}

std::string as_table(const std::vector<fault_count> &rows) {
  size_t width = 4;
  for (const fault_count &row : rows) width = std::max(width, row.name.size());
  std::ostringstream out;
  const auto name = [&](const std::string &text) {
    out << std::left << std::setw(static_cast<int>(width)) << text << std::right;
  };
  name("call");
  for (const char *column : columns) out << std::setw(column_width) << column;
  out << "\n";
  const auto print = [&](const fault_count &row) {
    name(row.name);
    out << std::setw(column_width) << row.faults;
    for (const uint64_t count : row.effects) out << std::setw(column_width) << count;
    for (const uint64_t count : {row.remounts, row.refused_next, row.broken}) {
      out << std::setw(column_width) << count;
    }
    out << "\n";
  };
  fault_count all{.name = "all"};
  for (const fault_count &row : rows) {
    print(row);
    all.add(row);
  }
  print(all);
  return out.str();
}

void try_all_faults(const workload &workload, extent extent, report &to) {
  trials trials(workload);
  if (!trials.broken().empty()) {
    ++to.broken;
    to.complaints.push_back(workload.name + ": " + told_without_fault(trials.broken()));
  }
  size_t pictures = 0;
  for (const fault_point &point : trials.points()) {
    const std::vector<failure> failures = failures_of(point.kind, point.size, extent);
    if (failures.empty()) continue;
    fault_count &row = row_of(workload.name + "/" + point.kind, to);
    for (const failure &failure : failures) {
      for (const lasting lasts : {lasting::once, lasting::for_ever}) {
        const trial_result result = trials.run(point, failure, lasts);
        row.add(result);
        if (result.broken.empty()) continue;
        ++to.broken;
        if (pictures++ < most_pictures) {
          to.complaints.push_back(picture_of(workload, point, failure, lasts, result));
        }
      }
    }
  }
}

}  // namespace vesk::test
