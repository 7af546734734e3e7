// Records that are appended.
#include <cerrno>

#include "tests/faults/record_rows.h"
#include "tests/faults/workload.h"
#include "tests/support/ring_builder.h"

namespace vesk::test {

namespace {

const event_list no_null_entry = {"! ERROR: Failed to add a null entry at the end."};

// What an entry of 22 bytes in a new ring takes.
event_list new_ring(const std::string &path, const std::string &flags) {
  return event_list{"open " + path + " " + flags,
                    "lseek 0",
                    "write header 20..20",
                    "lseek 0",
                    "read 20",
                    "lseek 20",
                    "write E1026/24 at 20",
                    "write 22 bytes at 40",
                    "write 2 zeros at 62",
                    "lseek 0",
                    "write header 20..64",
                    "close"} +
         answered(1, "= 0, counted");
}

// Behind the last entry of a ring that has not wrapped.
workload append() {
  call_table rows = message_rows();
  rows.push_back(status_row(file_7, new_ring(file_7, "42")));
  add(rows, open_rows(file_7, 1));
  add(rows, gheader_read_rows(file_7));
  add(rows, entry_rows({file_7, 1026, 220, 22, not_added, "lseek 0"}));
  add(rows, gheader_write_rows(file_7, "20..264"));
  add(rows, answer_rows("= 0, counted"));
  return {.name = "append",
          .file_type = 7,
          .files = {{7, short_ring()}},
          .prepare = nullptr,
          .operate = serving(new_record(7, 22, 1)),
          .expected = rows};
}

// The same, and the sender waits for the flash.
workload append_sync() {
  const event_list sync = {"! ERROR: For " + file_7 + " resp needed with SYNC flags 1042."};
  call_table rows = message_rows();
  rows.push_back(status_row(file_7, sync + new_ring(file_7, "1042")));
  add(rows, open_rows(file_7, 2));
  add(rows, gheader_read_rows(file_7));
  add(rows, entry_rows({file_7, 1026, 220, 22, not_added, "lseek 0"}));
  add(rows, gheader_write_rows(file_7, "20..264"));
  add(rows, answer_rows("= 0, counted"));
  return {.name = "append-sync",
          .file_type = 7,
          .files = {{7, short_ring()}},
          .prepare = nullptr,
          .operate = serving(new_record(7, 22, 2)),
          .expected = rows};
}

// The first record of a file.
workload create() {
  const std::string made = ", made temperature_err.log";
  const event_list no_status = {"! ERROR: Error acquiring status for " + file_7 + ", errno 2"};
  const event_list no_header = {"! ERROR: Failed to create a global header."};
  // A new file that is removed at once was neither there before nor is it there behind.
  const event_list close_and_remove =
      event_list{"close", "start rm " + file_7,
                 "! ERROR: " + file_7 + " was removed due to errors"} +
      answered(0, "= -1");
  call_table rows = message_rows();
  const event_list line = {"! ERROR: Error acquiring status for " + file_7 + ", errno %e"};
  rows.push_back({"stat " + file_7,
                  {{on({ENOENT}), line + event_list{rest_from("open " + file_7 + " 42")}},
                   {on({EIO}), event_list{"stat /kyte_mounted"} + line +
                                   event_list{rest_from("open " + file_7 + " 42")}},
                   {any_error(), line + answered(0, "= -1")}}});
  rows.push_back({no_status.front()});
  add(rows, open_rows(file_7, 1));
  rows.push_back({"lseek 0",
                  {{any_error(), event_list{"! ERROR: lseek failed to seek 0, errno = %e"} +
                                     no_header + close_and_remove}}});
  // A header that was not written passes for one that was, and is missed when it is read: nothing
  // is read from the empty file, while errno still is what the write left.
  const event_list nothing_read = {"! ERROR: ghdr read fails errno %e.",
                                   "! ERROR: vesk append failed \n"};
  rows.push_back(
      {"write header 20..20",
       {{on({EIO}),
         event_list{"lseek 0", "read 20", "stat /kyte_mounted"} + nothing_read + close_and_remove},
        {any_error(), event_list{"lseek 0", "read 20"} + nothing_read + close_and_remove},
        {counts(0, 19), event_list{"! ERROR: Writing the gheader failed. errno %e."} + no_header +
                            close_and_remove}}});
  call_table behind = gheader_read_rows(file_7);
  add(behind, entry_rows({file_7, 1026, 20, 22, not_added, "lseek 0"}));
  add(behind, gheader_write_rows(file_7, "20..64"));
  add(behind, answer_rows("= 0, counted"));
  // The same rules as for a file that is there, but it is new: "made" where it is kept, nothing
  // where it is removed.
  const auto as_new = [&](std::string &event) {
    const std::string gone = ", gone temperature_err.log";
    if (!event.starts_with("= ")) return;
    if (event.ends_with(gone)) {
      event.resize(event.size() - gone.size());
    } else {
      event += made;
    }
  };
  for (row &row : behind) {
    as_new(row.event);
    for (rule &rule : row.rules) {
      for (std::string &event : rule.then) as_new(event);
    }
  }
  add(rows, behind);
  return {.name = "create",
          .file_type = 7,
          .files = {},
          .prepare = nullptr,
          .operate = serving(new_record(7, 22, 1)),
          .expected = rows};
}

// Sixteen entries of 500 bytes each from 20 on, and the end at 8020: 172 bytes are left.
image nearly_full_ring() {
  ring file(7);
  for (uint32_t i = 0; i < 16; ++i) file.entry(1024, 480, 1001 + i);
  return file.bytes();
}

// The ring wraps: 150 bytes do not fit before the file's end. Space is made from 20 on, 4096 bytes
// or more: nine entries, up to 4520. A null entry covers the tail.
workload append_wrap() {
  call_table rows = message_rows();
  rows.push_back(status_row(
      file_7, event_list{"open " + file_7 + " 42", "lseek 0", "write header 20..20", "lseek 0",
                         "read 20", "lseek 20", "write E1026/152 at 20", "write 150 bytes at 40",
                         "write 2 zeros at 190", "lseek 0", "write header 20..192", "close"} +
                  answered(1, "= 0, counted")));
  add(rows, open_rows(file_7, 1));
  add(rows, gheader_read_rows(file_7));
  add(rows, walk_rows(file_7, every(500, 20, 4020)));
  rows.push_back({"gettimeofday",
                  {{any_error(), event_list{"! ERROR: gettimeofday() failed with errno %e."} +
                                     no_null_entry + removed(file_7)}}});
  // A null entry that lies 20 bytes too early leaves the file shorter than a ring that has wrapped.
  add(rows, entry_rows({file_7, 0, 8020, 152, no_null_entry, "lseek 20",
                        "ERROR: File already wrapped but file size 8172"}));
  add(rows, entry_rows({file_7, 1026, 20, 150, not_added, "lseek 0"}));
  add(rows, gheader_write_rows(file_7, "4520..192"));
  add(rows, answer_rows("= 0, counted"));
  return {.name = "append-wrap",
          .file_type = 7,
          .files = {{7, nearly_full_ring()}},
          .prepare = nullptr,
          .operate = serving(new_record(7, 150, 1)),
          .expected = rows};
}

// 262 entries of 500 bytes from 20 on and a null entry for the tail, wrapped so far that 500 bytes
// are left between the end at 4020 and the start at 4520.
image full_ring() {
  ring file(6);
  for (uint32_t i = 0; i < 262; ++i) file.entry(1024, 480, i < 8 ? 2001 + i : 1001 + i);
  return file.null(32, 1300).start(4520).end(4020).bytes();
}

// 480 bytes need 524. Nine of the oldest entries are given up, up to 9020.
workload append_full() {
  call_table rows = message_rows();
  rows.push_back(status_row(
      file_6, event_list{"open " + file_6 + " 42", "lseek 0", "write header 20..20", "lseek 0",
                         "read 20", "lseek 20", "write E1026/480 at 20", "write 478 bytes at 40",
                         "write 2 zeros at 518", "lseek 0", "write header 20..520", "close"} +
                  answered(1, "= 0, counted")));
  add(rows, open_rows(file_6, 1));
  add(rows, gheader_read_rows(file_6));
  add(rows, walk_rows(file_6, every(500, 4520, 8520)));
  add(rows, entry_rows({file_6, 1026, 4020, 478, not_added, "lseek 0"}));
  add(rows, gheader_write_rows(file_6, "9020..4520"));
  add(rows, answer_rows("= 0, counted"));
  return {.name = "append-full",
          .file_type = 6,
          .files = {{6, full_ring()}},
          .prepare = nullptr,
          .operate = serving(new_record(6, 478, 1)),
          .expected = rows};
}

}  // namespace

std::vector<workload> record_workloads() {
  return {append(), append_sync(), create(), append_wrap(), append_full()};
}

}  // namespace vesk::test
