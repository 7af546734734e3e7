// Clearing, statistics, and the flash itself.
#include <algorithm>
#include <cerrno>
#include <cstring>

#include "daemon/vesk_flash_control.h"
#include "tests/faults/record_rows.h"
#include "tests/faults/workload.h"
#include "tests/support/recorder.h"
#include "tests/support/trial.h"

namespace vesk::test {

namespace {

std::function<int32_t(scene &)> clearing(uint16_t file_type) {
  return [=](scene &scene) {
    const uint16_t request[] = {3, file_type};
    std::vector<uint8_t> payload(sizeof request);
    std::memcpy(payload.data(), request, sizeof request);
    return scene.serve(1153, payload);
  };
}

// The answer to a command. That it was not sent is logged.
call_table command_answer_rows(const std::string &answer) {
  return {{answer,
           {{any_error(),
             {.events = {"! ERROR: Failed to snd response to KYTE for IPQ_OPC_VESK_COMMAND\n",
                         "drop"}}}}},
          {"note sent"},
          drop_row()};
}

// A file whose status cannot be had counts as cleared, and so does one whose removal did not start.
workload clear() {
  call_table rows = message_rows();
  const ending kept = {.cleared = true};
  rows.push_back(
      {"stat " + file_7,
       {{any_error(), {.events = {"answer 3 7 0", "note sent", "drop"}, .ends = kept}}}});
  rows.push_back({"start rm " + file_7, {{any_error(), {.rest = rest::all{}, .ends = kept}}}});
  add(rows, command_answer_rows("answer 3 7 0"));
  return {.name = "clear",
          .file_type = 7,
          .files = {{7, short_ring()}},
          .operate = clearing(7),
          .expected = rows,
          .ends = {.cleared = true, .removed = {file_7}}};
}

// Every type from 0 to 63; most of them have no file, which makes the answer -1 and spares the
// statistics. Files of types 2 and 7 are there.
bool is_known(uint32_t file_type) {
  return std::find(known_types.begin(), known_types.end(), file_type) != known_types.end();
}

std::string type_event(uint32_t file_type) {
  if (is_known(file_type)) return "stat " + path_of(file_type);
  return "! ERROR: couldn't get filename for file type " + std::to_string(file_type);
}

// Where the first call for a type fails for ever: what was removed before stays so; of the files
// behind it, none is seen.
sequel none_behind(uint32_t file_type) {
  event_list unseen, removed;
  for (uint32_t type = file_type + 1; type < 64; ++type) unseen.push_back(type_event(type));
  if (file_type > 2) removed.push_back(file_2);
  if (file_type > 7) removed.push_back(file_7);
  return {.events = unseen + event_list{"answer 3 0 -1", "note sent", "drop"},
          .ends = ending{.removed = removed}};
}

// One of the two files, where the other is removed before it or behind it.
call_table present_rows(uint32_t file_type, const ending &only_other, const ending &only_before) {
  return {{type_event(file_type),
           {{only_once(any_error()),
             {.rest = rest::from{type_event(file_type + 1)}, .ends = only_other}},
            {any_error(), none_behind(file_type)}}},
          {"start rm " + path_of(file_type),
           {{only_once(any_error()), {.rest = rest::all{}, .ends = only_other}},
            {any_error(), {.rest = rest::all{}, .ends = only_before}}}}};
}

workload clear_all() {
  call_table rows = message_rows();
  for (uint32_t type = 0; type < 64; ++type) {
    if (type == 2) {
      add(rows, present_rows(2, {.removed = {file_7}}, {}));
    } else if (type == 7) {
      add(rows, present_rows(7, {.removed = {file_2}}, {.removed = {file_2}}));
    } else if (is_known(type)) {
      rows.push_back(
          {type_event(type),
           {{only_once(any_error()), {.rest = rest::all{}}}, {any_error(), none_behind(type)}}});
    } else {
      rows.push_back({type_event(type)});
    }
  }
  add(rows, command_answer_rows("answer 3 0 -1"));
  return {.name = "clear-all",
          .file_type = 7,
          .files = {{2, short_ring()}, {7, short_ring()}},
          .operate = clearing(0),
          .expected = rows,
          .ends = {.removed = {file_2, file_7}}};
}

workload statistics() {
  call_table rows = message_rows();
  rows.push_back({"answer of 21896 bytes", {{any_error(), {.events = {"drop"}}}}});
  rows.push_back({"note sent"});
  rows.push_back(drop_row());
  return {.name = "statistics",
          .file_type = 7,
          .files = {{7, short_ring()}},
          .operate = [](scene &scene) { return scene.serve(1152, {}); },
          .expected = rows};
}

// ---- The status of a file on a flash with an I/O error.

int32_t take_status(scene &) {
  struct stat st;
  errno = 0;
  const int32_t result = vesk_stat_fs(file_7.c_str(), &st);
  platform.journal.push_back("errno " + std::to_string(errno));
  return result;
}

// A remount goes on whether or not its steps succeed, and the caller sees the status call's own
// errno. Only EIO leads to one.
workload status() {
  const call_table rows = {{"stat " + file_7, {{any_error(), {.events = {"errno %e"}}}}},
                           {"stat /kyte_mounted", {{any_error(), {.events = {"errno 5"}}}}},
                           ignored("run rm /kyte_mounted"),
                           ignored("run umount /mnt/vesk/"),
                           ignored("start /vamo/bin/kytemount"),
                           {"errno 5"}};
  return {.name = "status-remount",
          .file_type = 7,
          .files = {{7, short_ring()}},
          .prepare = [](scene &scene) { scene.spoil_status_of(file_7); },
          .operate = take_status,
          .expected = rows,
          .ends = {.result = -1}};
}

// The fourth remount is reported; nothing depends on the report.
workload fourth_remount() {
  const call_table rows = {
      {"stat /kyte_mounted", {{any_error(), {.ends = ending{.result = -1}}}}},
      {"gettimeofday",
       {{any_error(), {.events = {"send exception at 0"}, .rest = rest::from{"drop"}}}}},
      ignored("send exception at 1610612736"),
      ignored("drop"),
      ignored("run rm /kyte_mounted"),
      ignored("run umount /mnt/vesk/"),
      {"start /vamo/bin/kytemount",
       {{returning(1), {.ends = ending{.result = 1}}},
        {returning(127), {.ends = ending{.result = 127}}},
        {any_error(), {.ends = ending{.result = -1}}}}}};
  return {.name = "fourth-remount",
          .file_type = 7,
          .files = {{7, short_ring()}},
          .prepare = [](scene &) { remount_count = 3; },
          .operate = [](scene &) { return vesk_remount_fs(); },
          .expected = rows};
}

}  // namespace

std::vector<workload> other_workloads() {
  return {clear(), clear_all(), statistics(), status(), fourth_remount()};
}

std::vector<workload> all_workloads() {
  std::vector<workload> all;
  for (const auto &some : {record_workloads(), update_workloads(), damaged_workloads(),
                           validation_workloads(), migration_workloads(), wrapped_sweep_workloads(),
                           damage_sweep_workloads(), other_workloads()}) {
    all = all + some;
  }
  return all;
}

}  // namespace vesk::test
