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

std::string name_of(const std::string &path) {
  return path.substr(path.rfind('/') + 1);
}

void set_scene(scene &scene, const workload &workload) {
  for (const auto &[file_type, file] : workload.files) scene.put(path_of(file_type), file);
  for (const auto &[file_type, file] : workload.files) {
    scene.watch_capacity(path_of(file_type), capacity_of(file_type));
  }
  vesk_uuid_stat_table[sender] = {.entry_count = 5, .byte_count = 500};
  if (workload.prepare) workload.prepare(scene);
  scene.begin(allowed_calls);
}

std::string facts_of(const scene &scene, const workload &workload) {
  std::string facts;
  if (const auto code = scene.error_code(); code && *code != 0) {
    facts += ", code " + std::to_string(*code);
  }
  if (vesk_uuid_stat_table[sender].entry_count == 6) facts += ", counted";
  if (vesk_uuid_stat_table[sender].entry_count == 0) facts += ", cleared";
  for (const vesk_catalogue_row &row : vesk_file_catalogue) {
    const bool was = workload.files.contains(row.file_type());
    const bool is = scene.find(path_of(row.file_type())) != nullptr;
    if (was != is) facts += std::string(is ? ", made " : ", gone ") + row.name;
  }
  for (uint32_t type = 0; type < VESK_MAX_FILE_TYPES; ++type) {
    const uint32_t mark = vesk_file_sanity[type];
    if (mark == 0) continue;
    facts += ", marked " + std::to_string(type) + ": " + std::to_string(mark);
  }
  for (const std::string &path : scene.open_files()) facts += ", open " + name_of(path);
  if (vesk_ctrl != 0) facts += ", no directory";
  if (vesk_up_sent_retry_count != 0) {
    facts += ", UP failed " + std::to_string(vesk_up_sent_retry_count) + " times";
  }
  return facts;
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

ending ending_of(const call_table &usual, const event_list &found) {
  const bool same = std::equal(usual.begin(), usual.end(), found.begin(), found.end(),
                               [](const row &row, const std::string &e) { return row.event == e; });
  const std::string &last = found.back();
  if (same) return ending::as_usual;
  if (last != usual.back().event && last.find(", gone ") != std::string::npos) {
    return ending::removed;
  }
  return last.starts_with("= 0") ? ending::another : ending::refused;
}

}  // namespace

trials::trials(const workload &workload) : workload_(workload) {
  scene scene;
  set_scene(scene, workload_);
  const event_list found = observe(scene);
  event_list expected;
  for (const row &row : workload_.expected) expected.push_back(row.event);
  if (found != expected) {
    broken_.push_back("without a fault, the calls are not those of the table");
    for (size_t i = 0; i < std::max(found.size(), expected.size()); ++i) {
      const std::string left = i < expected.size() ? expected[i] : "";
      const std::string right = i < found.size() ? found[i] : "";
      broken_.push_back((left == right ? "    " : "  * ") + left +
                        (left == right ? "" : "   |   " + right));
    }
    return;
  }
  for (const std::string &promise : scene.broken()) broken_.push_back(promise);
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

// Does the work, and returns its events and what came of it.
event_list trials::observe(scene &scene) const {
  const int32_t result = workload_.operate(scene);
  event_list found = scene.events();
  found.push_back("= " + std::to_string(result) + facts_of(scene, workload_));
  return found;
}

trial_result trials::run(const fault_point &point, const failure &failure, lasting lasts) {
  scene scene;
  set_scene(scene, workload_);
  scene.break_at({.kind = point.kind, .number = point.number, .lasts = lasts, .what = failure});
  trial_result result{};
  result.found = observe(scene);
  result.ended = ending_of(workload_.expected, result.found);
  result.remounted = std::find(result.found.begin(), result.found.end(), "run umount /mnt/vesk/") !=
                     result.found.end();
  result.broken = scene.broken();
  if (scene.overspent()) result.broken.push_back("it would not end");

  const bool is_transfer = point.kind == "read" || point.kind == "write";
  const rule *rule = find_rule(workload_.expected[point.row], failure, is_transfer, lasts);
  if (rule == nullptr) {
    result.broken.push_back("the table does not say what is expected then");
    return result;
  }
  result.expected = expected_events(workload_.expected, point.row, *rule, failure, lasts);
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
