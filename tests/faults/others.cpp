// Clearing, statistics, and the flash itself.
#include <cerrno>
#include <cstring>

#include "daemon/vesk_flash_control.h"
#include "tests/faults/record_rows.h"
#include "tests/faults/remount.h"
#include "tests/faults/workload.h"
#include "tests/support/recorder.h"
#include "tests/support/trial.h"

namespace vesk::test {

namespace {

const std::string file_2 = "/mnt/vesk/nruda.log";

std::function<int32_t(scene &)> clearing(uint16_t file_type) {
  return [=](scene &scene) {
    const uint16_t request[] = {3, file_type};
    std::vector<uint8_t> payload(sizeof request);
    std::memcpy(payload.data(), request, sizeof request);
    return scene.serve(1153, payload);
  };
}

// The answer to a command. That it was not sent is logged.
call_table command_answer_rows(const std::string &answer, const std::string &end) {
  return {{answer,
           {{any_error(),
             {"! ERROR: Failed to snd response to KYTE for IPQ_OPC_VESK_COMMAND\n", "drop", end}}}},
          {"note sent"},
          {"drop", {{any_error(), {"! ERROR: Failed to drop ipq message\n", end}}}},
          {end}};
}

// A file whose status cannot be had counts as cleared, and so does one whose removal did not start.
workload clear() {
  call_table rows = message_rows();
  rows.push_back(
      {"stat " + file_7, {{any_error(), {"answer 3 7 0", "note sent", "drop", "= 0, cleared"}}}});
  rows.push_back({"start rm " + file_7,
                  {{any_error(), {rest_until_end, "= 0, cleared"}},
                   {other_results(), {rest_until_end, "= 0, cleared"}}}});
  add(rows, command_answer_rows("answer 3 7 0", "= 0, cleared, gone temperature_err.log"));
  return {.name = "clear",
          .file_type = 7,
          .files = {{7, short_ring()}},
          .prepare = nullptr,
          .operate = clearing(7),
          .expected = rows};
}

// Every type from 0 to 63; most of them have no file, which makes the answer -1 and spares the
// statistics. Files of types 2 and 7 are there.
constexpr uint32_t catalogued[] = {1, 2, 3, 4, 5, 6, 7, 21, 22, 25, 29, 30, 33, 34, 35, 36};

event_list type_events(uint32_t file_type) {
  for (const uint32_t known : catalogued) {
    if (known == file_type) return {"stat " + path_of(file_type)};
  }
  return {"! ERROR: couldn't get filename for file type " + std::to_string(file_type)};
}

workload clear_all() {
  const std::string gone_2 = ", gone nruda.log", gone_7 = ", gone temperature_err.log";
  const event_list answer = {"answer 3 0 -1", "note sent", "drop"};
  call_table rows = message_rows();
  for (uint32_t type = 0; type < 64; ++type) {
    const std::string event = type_events(type).front();
    if (event.starts_with("! ")) {
      rows.push_back({event});
      continue;
    }
    // What was removed before stays so; of the files behind it, none is seen.
    event_list unseen;
    for (uint32_t other = type + 1; other < 64; ++other) unseen = unseen + type_events(other);
    const std::string end =
        std::string("= 0") + (type > 2 ? gone_2 : "") + (type > 7 ? gone_7 : "");
    const rule for_ever = {any_error(), unseen + answer + event_list{end}};
    const std::string next = type_events(type + 1).front();
    if (type == 2 || type == 7) {
      const std::string other_gone = "= 0" + (type == 2 ? gone_7 : gone_2);
      const event_list without = {rest_from_until_end(next), other_gone};
      rows.push_back({event, {{only_once(any_error()), without}, for_ever}});
      const std::string none_gone = type == 2 ? "= 0" : "= 0" + gone_2;
      rows.push_back({"start rm " + path_of(type),
                      {{only_once(any_error()), {rest_until_end, other_gone}},
                       {only_once(other_results()), {rest_until_end, other_gone}},
                       {any_error(), {rest_until_end, none_gone}},
                       {other_results(), {rest_until_end, none_gone}}}});
    } else {
      rows.push_back({event, {{only_once(any_error()), {the_rest}}, for_ever}});
    }
  }
  add(rows, command_answer_rows("answer 3 0 -1", "= 0" + gone_2 + gone_7));
  return {.name = "clear-all",
          .file_type = 7,
          .files = {{2, short_ring()}, {7, short_ring()}},
          .prepare = nullptr,
          .operate = clearing(0),
          .expected = rows};
}

workload statistics() {
  call_table rows = message_rows();
  rows.push_back({"answer of 21896 bytes", {{any_error(), {"drop", "= 0"}}}});
  rows.push_back({"note sent"});
  rows.push_back({"drop", {{any_error(), {"! ERROR: Failed to drop ipq message\n", "= 0"}}}});
  rows.push_back({"= 0"});
  return {.name = "statistics",
          .file_type = 7,
          .files = {{7, short_ring()}},
          .prepare = nullptr,
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

// A remount goes on whatever becomes of its steps, and the caller sees the status call's own errno.
// Only EIO leads to one.
call_table status_rows() {
  return {{"stat " + file_7, {{any_error(), {"errno %e", "= -1"}}}},
          {"stat /kyte_mounted", {{any_error(), {"errno 5", "= -1"}}}}};
}

call_table remount_rows() {
  return {ignored("run rm /kyte_mounted"), ignored("run umount /mnt/vesk/"),
          ignored("start /vamo/bin/kytemount")};
}

workload status() {
  call_table rows = status_rows();
  add(rows, remount_rows());
  rows.push_back({"errno 5"});
  rows.push_back({"= -1"});
  return {.name = "status-remount",
          .file_type = 7,
          .files = {{7, short_ring()}},
          .prepare = [](scene &scene) { scene.spoil_status_of(file_7); },
          .operate = take_status,
          .expected = rows};
}

// The fourth remount is reported, and the report is nobody's condition.
workload fourth_remount() {
  call_table rows = {
      {"stat /kyte_mounted", {{any_error(), {"= -1"}}}},
      {"gettimeofday", {{any_error(), {"send exception at 0", rest_from("drop")}}}},
      ignored("send exception at 1610612736"),
      ignored("drop"),
      ignored("run rm /kyte_mounted"),
      ignored("run umount /mnt/vesk/"),
      {"start /vamo/bin/kytemount", {{any_error(), {"= %n"}}, {other_results(), {"= %n"}}}},
      {"= 0"}};
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
