#include "tests/powercut/enumerate.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace vesk::test {

namespace {

constexpr size_t most_cuts = 40'000;  // of one ring in which writes come in any order

template <typename Value>
std::vector<Value> spread(const std::vector<Value> &all, size_t most) {
  if (all.size() <= most) return all;
  std::vector<Value> some;
  for (size_t i = 0; i < most; ++i) some.push_back(all[i * all.size() / most]);
  return some;
}

// All cuts. Only where an operation makes so many writes that there are too many of those in any
// order, it is all of those in order and then some of the others, spread evenly.
std::vector<power_cut> cuts_of(const operation_run &run) {
  if (run.in_order) return cuts_in_order(run.writes);
  std::vector<power_cut> all = cuts_in_any_order(run.writes);
  if (all.size() <= most_cuts) return all;
  std::vector<power_cut> cuts = cuts_in_order(run.writes);
  const std::vector<power_cut> others = spread(all, most_cuts);
  cuts.insert(cuts.end(), others.begin(), others.end());
  return cuts;
}

// The repair's writes reach the flash in their order. There may be any number of them, so these
// cuts are counted in bytes: the one number `n` is that with n bytes written.
size_t bytes_of(const std::vector<flash_write> &writes) {
  size_t bytes = 0;
  for (const flash_write &write : writes) bytes += write.bytes.size();
  return bytes;
}

maybe_image after_bytes(const maybe_image &before, const std::vector<flash_write> &writes,
                        size_t count) {
  maybe_image file = before;
  for (const flash_write &write : writes) {
    const size_t some = std::min(count, write.bytes.size());
    file->resize(std::max<size_t>(file->size(), write.offset + some));
    std::copy_n(write.bytes.begin(), some, file->begin() + write.offset);
    count -= some;
    if (count == 0) break;
  }
  return file;
}

cut_state state_of(const power_case &c, const operation_run &run, const power_cut &cut) {
  return {
      .file = after_cut(c.before, run.writes, cut), .entries = entries_at(run, cut), .copies = {}};
}

// The repair that begins with `before` is cut in its turn. What was preserved before it stays.
cut_state state_in_repair(const cut_state &before, const course &course, size_t count) {
  cut_state state{.file = after_bytes(before.file, course.first.writes, count),
                  .entries = before.entries,
                  .copies = before.copies};
  if (is_preserved(course.first_forecast)) state.copies.push_back(before.file);
  return state;
}

uint64_t hash_of(const std::vector<flash_write> &writes) {
  uint64_t hash = writes.size();
  for (const flash_write &write : writes) {
    const std::string_view bytes(reinterpret_cast<const char *>(write.bytes.data()),
                                 write.bytes.size());
    hash = (hash ^ write.offset) * 0x100000001B3;
    hash = (hash ^ std::hash<std::string_view>{}(bytes)) * 0x100000001B3;
  }
  return hash;
}

}  // namespace

std::string as_text(const cut_name &name) {
  std::string text = std::to_string(name.variant) + ":" + std::to_string(name.cut);
  if (name.repair_cut) text += ":" + std::to_string(*name.repair_cut);
  return text;
}

std::optional<cut_name> cut_name_of(const std::string &text) {
  std::vector<size_t> numbers;
  const char *at = text.data();
  const char *const end = at + text.size();
  while (true) {
    size_t number = 0;
    const auto [behind, error] = std::from_chars(at, end, number);
    if (error != std::errc()) return std::nullopt;
    numbers.push_back(number);
    if (behind == end) break;
    if (*behind != ':') return std::nullopt;
    at = behind + 1;
  }
  if (numbers.size() < 2 || numbers.size() > 3 || numbers[0] > UINT32_MAX) return std::nullopt;
  cut_name name{.variant = static_cast<uint32_t>(numbers[0]), .cut = numbers[1], .repair_cut = {}};
  if (numbers.size() == 3) name.repair_cut = numbers[2];
  return name;
}

named_cut find_cut(daemon_in_memory &daemon, const power_case &c, const cut_name &name) {
  named_cut found{};
  found.run = run_uncut(daemon, c);
  found.cut = cuts_of(found.run).at(name.cut);
  found.state = state_of(c, found.run, found.cut);
  if (!name.repair_cut) return found;
  const course course = take_course(daemon, c, found.state.file);
  found.repair = course.first.writes;
  if (*name.repair_cut > bytes_of(found.repair)) throw std::out_of_range("no such byte");
  found.state = state_in_repair(found.state, course, *name.repair_cut);
  return found;
}

both_tallies try_all_cuts(const case_plan &plan, uint32_t variant, size_t most_repairs,
                          const std::function<void()> &tried) {
  both_tallies tallies;
  const power_case c = make_case(plan, variant);
  daemon_in_memory daemon(c.file_type);
  const operation_run run = run_uncut(daemon, c);
  const std::vector<power_cut> cuts = cuts_of(run);
  std::vector<size_t> repaired;
  std::unordered_set<uint64_t> repairs;
  for (size_t i = 0; i < cuts.size(); ++i) {
    const cut_state state = state_of(c, run, cuts[i]);
    const course course = take_course(daemon, c, state.file);
    const cut_name name{.variant = variant, .cut = i, .repair_cut = {}};
    tallies.cuts.add(losses_of(c, state, course), plan.name + " " + as_text(name));
    const bool is_new =
        !course.first.writes.empty() && repairs.insert(hash_of(course.first.writes)).second;
    if (is_new) repaired.push_back(i);
    tried();
  }
  for (const size_t i : spread(repaired, most_repairs)) {
    const cut_state state = state_of(c, run, cuts[i]);
    const course whole = take_course(daemon, c, state.file);
    for (size_t n = 0; n <= bytes_of(whole.first.writes); ++n) {
      const cut_state in_repair = state_in_repair(state, whole, n);
      const cut_name name{.variant = variant, .cut = i, .repair_cut = n};
      tallies.repair_cuts.add(losses_of(c, in_repair, take_course(daemon, c, in_repair.file)),
                              plan.name + " " + as_text(name));
      tried();
    }
  }
  return tallies;
}

}  // namespace vesk::test
