// A restart, for which no file is examined, with an old directory to be emptied.
#include <cerrno>

#include "daemon/vesk_mount_check.h"
#include "daemon/vesk_start.h"
#include "tests/faults/record_rows.h"
#include "tests/faults/workload.h"
#include "tests/support/recorder.h"

namespace vesk::test {

namespace {

row ends_start(const std::string &call, const event_list &lines, int32_t status) {
  return {call, {{any_error(), {.events = lines, .ends = ending{.result = status}}}}};
}

workload migrate() {
  const event_list no_timer = {"! ERROR: Failed to create timer group\n"};
  const std::string up = "send 1156",
                    not_up = "! ERROR: Failed to send IPQ_OPC_VESK_UP message errno %e\n";
  const event_list migration = {"stat /mnt/vesk/", "stat /mnt/qvd/vesk/",
                                "run /bin/mv /mnt/qvd/vesk/* /mnt/vesk/", "rmdir /mnt/qvd/vesk/",
                                "sync"};
  const sequel no_directory = {
      .events = {"! ERROR: Failed to stat dir /mnt/vesk/ 2\n", up, "note sent"},
      .ends = ending{.no_directory = true}};
  call_table rows;
  rows.push_back(ends_start("sigaction", {"! ERROR: Failed sigaction for signal SIGTERM\n"}, 2));
  rows.push_back({"signal"});
  rows.push_back(ends_start("ipq_bind", {"! ERROR: Failed to bind IPQ SAP.\n"}, 4));
  rows.push_back(ends_start("dbgkit_dbg_init", {}, 5));
  rows.push_back(ends_start("dbgkit_sys_init_helper", {}, 5));
  rows.push_back({"runctl_handshake"});
  rows.push_back({"runctl_last_pid_get"});
  rows.push_back(ends_start("tg_create_group", no_timer, 6));
  rows.push_back(ends_start("tg_create_timer", no_timer, 6));
  rows.push_back(ends_start("tg_start_timer", event_list{"tg_destroy_timer"} + no_timer, 6));
  rows.push_back(
      {up,
       {{only_once(any_error()),
         {.events = {not_up}, .rest = rest::from{"heartbeat 0"}, .ends = ending{.up_failures = 1}}},
        {any_error(),
         {.events = event_list{not_up, "heartbeat 0", "stat /vamo-upgrade/vamo.bin",
                               "card_get_slot_num"} +
                    migration + event_list{up, not_up},
          .ends = ending{.up_failures = 2}}}}});
  rows.push_back({"note sent"});
  rows.push_back(ignored("heartbeat 0"));
  // The upgrade image counts as absent; but where no status can be had at all, neither can that of
  // the directories.
  rows.push_back(
      {"stat /vamo-upgrade/vamo.bin",
       {{only_once(any_error()), {.rest = rest::all{}}},
        {on({ENOENT}), event_list{"card_get_slot_num", "stat /mnt/vesk/"} + no_directory},
        {any_error(), {.events = {"card_get_slot_num", "stat /mnt/vesk/", up, "note sent"}}}}});
  rows.push_back(
      ends_start("card_get_slot_num", {"! ERROR: Failed to get card slot num  errno %e\n"}, 8));
  rows.push_back(
      {"stat /mnt/vesk/", {{on({ENOENT}), no_directory}, {any_error(), {.rest = rest::from{up}}}}});
  rows.push_back({"stat /mnt/qvd/vesk/", {{any_error(), {.rest = rest::from{up}}}}});
  rows.push_back(ignored("run /bin/mv /mnt/qvd/vesk/* /mnt/vesk/"));
  rows.push_back(ignored("rmdir /mnt/qvd/vesk/"));
  rows.push_back({"sync"});
  rows.push_back({up, {{any_error(), {.events = {not_up}, .ends = ending{.up_failures = 1}}}}});
  rows.push_back({"note sent"});
  return {.name = "migrate",
          .file_type = 7,
          .files = {{7, short_ring()}},
          .prepare =
              [](scene &scene) {
                scene.put("/mnt/vesk/", {});
                scene.put("/mnt/qvd/vesk/", {});
                platform.always("runctl_last_pid_get", 1234);
                mount_check_pending = 1;
              },
          .operate = [](scene &) { return vesk_start_up(); },
          .expected = rows};
}

}  // namespace

std::vector<workload> migration_workloads() {
  return {migrate()};
}

}  // namespace vesk::test
