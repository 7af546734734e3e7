#include "tests/faults/trial.h"

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string_view>

#include "daemon/vesk_start.h"
#include "daemon/vesk_timer.h"
#include "format/vesk_catalogue.h"
#include "store/vesk_state.h"
#include "tests/support/recorder.h"
#include "tests/support/trial.h"

namespace vesk::test {

namespace {

// Every call of an operation is compared with its table; this only ends one that would not end.
constexpr uint64_t allowed_calls = 100'000;

constexpr uint16_t sender = 77;

void set_scene(scene &scene, const workload &workload) {
  for (const auto &[file_type, file] : workload.files) scene.put(path_of(file_type), file);
  for (const auto &[file_type, file] : workload.files) {
    scene.watch_capacity(path_of(file_type), capacity_of(file_type));
  }
  vesk_uuid_stat_table[sender] = {.entry_count = 5, .byte_count = 500};
  if (workload.prepare) workload.prepare(scene);
  scene.begin(allowed_calls);
}

ending ending_of(const scene &scene, const workload &workload, int32_t result) {
  ending ends{.result = result,
              .code = scene.error_code().value_or(0),
              .counted = vesk_uuid_stat_table[sender].entry_count == 6,
              .cleared = vesk_uuid_stat_table[sender].entry_count == 0,
              .open = scene.open_files(),
              .no_directory = vesk_ctrl != 0,
              .up_failures = vesk_up_sent_retry_count};
  for (const vesk_catalogue_row &row : vesk_file_catalogue) {
    const std::string path = path_of(row.file_type());
    const bool was = workload.files.contains(row.file_type());
    const bool is = scene.find(path) != nullptr;
    if (was != is) (is ? ends.made : ends.removed).push_back(path);
  }
  for (uint32_t type = 0; type < VESK_MAX_FILE_TYPES; ++type) {
    if (const uint32_t mark = vesk_file_sanity[type]; mark != 0) ends.marks[type] = mark;
  }
  return ends;
}

uint64_t state_hash(const scene &scene) {
  uint64_t hash = scene.has_mount() ? 1 : 0;
  const auto mix = [&](uint64_t value) { hash = (hash ^ value) * 0x100000001B3; };
  for (const vesk_catalogue_row &row : vesk_file_catalogue) {
    const image *file = scene.find(path_of(row.file_type()));
    mix(file == nullptr ? 0 : file->size() + 1);
    if (file == nullptr) continue;
    const std::string_view bytes(reinterpret_cast<const char *>(file->data()), file->size());
    mix(std::hash<std::string_view>{}(bytes));
  }
  return hash;
}

bool any_starts_with(const std::vector<std::string> &lines, const std::string &head) {
  return std::any_of(lines.begin(), lines.end(),
                     [&](const std::string &line) { return line.starts_with("! " + head); });
}

void expect_served_next(const std::string &reason, const std::vector<std::string> &refused,
                        std::vector<std::string> &broken) {
  const std::string what = "the next record";
  if (reason.empty() && !refused.empty()) {
    broken.push_back(what + " was refused: " + refused.front());
  } else if (!reason.empty() && refused.empty()) {
    broken.push_back(what + " was not refused, as it should be for \"" + reason + "\"");
  } else if (!reason.empty() && !any_starts_with(refused, reason)) {
    broken.push_back(what + " was refused for another reason than \"" + reason +
                     "\": " + refused.front());
  }
}

fault_effect effect_of(const transcript &usual, const transcript &found) {
  if (found == usual) return fault_effect::as_usual;
  if (found.ends != usual.ends && !found.ends.removed.empty()) return fault_effect::removed;
  return found.ends.result == 0 ? fault_effect::another : fault_effect::refused;
}

// Both, line by line, with a mark where they differ.
std::vector<std::string> side_by_side(const event_list &left, const event_list &right) {
  std::vector<std::string> both;
  for (size_t i = 0; i < std::max(left.size(), right.size()); ++i) {
    const std::string one = i < left.size() ? left[i] : "";
    const std::string other = i < right.size() ? right[i] : "";
    both.push_back(one == other ? "    " + one : "  * " + one + "   |   " + other);
  }
  return both;
}

}  // namespace

trials::trials(const workload &workload)
    : workload_(workload), usual_(expected_transcript(workload.expected, workload.ends)) {
  scene scene;
  set_scene(scene, workload_);
  const transcript found = observe(scene);
  if (found != usual_) {
    broken_ = event_list{"without a fault, the calls are not those of the table"} +
              side_by_side(lines_of(usual_), lines_of(found));
    return;
  }
  broken_ = scene.broken();
  find_points(scene.calls());
}

void trials::find_points(const std::vector<made_call> &calls) {
  std::map<std::string, uint32_t> counts;
  size_t next = 0;
  for (size_t i = 0; i < workload_.expected.size(); ++i) {
    if (next == calls.size() || workload_.expected[i].event != calls[next].text) continue;
    const made_call &call = calls[next++];
    points_.push_back(
        {.row = i, .kind = call.kind, .number = ++counts[call.kind], .size = call.size});
  }
  if (next != calls.size()) throw std::logic_error("calls that are no events");
}

transcript trials::observe(scene &scene) const {
  const int32_t result = workload_.operate(scene);
  return {scene.events(), ending_of(scene, workload_, result)};
}

trial_result trials::run(const fault_point &point, const failure &failure, lasting lasts) {
  scene scene;
  set_scene(scene, workload_);
  scene.break_at({.kind = point.kind, .number = point.number, .lasts = lasts, .what = failure});
  trial_result result{};
  result.found = observe(scene);
  result.effect = effect_of(usual_, result.found);
  const event_list &events = result.found.events;
  result.remounted =
      std::find(events.begin(), events.end(), "run umount /mnt/vesk/") != events.end();
  result.broken = scene.broken();
  if (scene.overspent()) result.broken.push_back("it would not end");

  const bool is_transfer = point.kind == "read" || point.kind == "write";
  const rule *rule = find_rule(workload_.expected[point.row], failure, is_transfer, lasts);
  if (rule == nullptr) {
    result.broken.push_back("the table does not say what is expected then");
    return result;
  }
  result.expected =
      expected_transcript(workload_.expected, workload_.ends, point.row, *rule, failure, lasts);
  if (result.expected != result.found) result.broken.push_back("it went otherwise");

  const auto [known, is_new] = known_.try_emplace(state_hash(scene));
  if (is_new) known->second = take_aftermath(scene, workload_.file_type);
  const aftermath &after = known->second;
  result.refused_next = !after.refused_next.empty();
  result.broken.insert(result.broken.end(), after.broken.begin(), after.broken.end());
  expect_served_next(rule->refused_next, after.refused_next, result.broken);
  return result;
}

}  // namespace vesk::test
