// Records that are appended.
#include <cerrno>

#include "tests/faults/record_rows.h"
#include "tests/faults/workload.h"
#include "tests/support/ring_builder.h"

namespace vesk::test {

namespace {

const event_list no_null_entry = {"! ERROR: Failed to add a null entry at the end."};

// Behind the last entry of a ring that has not wrapped.
workload appending(const std::string &name, uint8_t sync, const sequel &anew) {
  call_table rows = message_rows();
  rows.push_back(status_row(ring_7, anew));
  add(rows, open_rows(ring_7, sync));
  add(rows, gheader_read_rows(ring_7));
  add(rows, entry_rows({ring_7, 1026, 220, 22, not_added, "lseek 0"}));
  add(rows, gheader_write_rows(ring_7, "20..264"));
  add(rows, answer_rows({.counted = true}));
  return {.name = name,
          .file_type = 7,
          .files = {{7, short_ring()}},
          .operate = serving(new_record(7, 22, sync)),
          .expected = rows,
          .ends = {.counted = true}};
}

workload append() {
  return appending("append", 1, made_anew(file_7, "E1026/24", 22));
}

// The same, and the sender waits for the flash.
workload append_sync() {
  const event_list sync = {"! ERROR: For " + file_7 + " resp needed with SYNC flags 1042."};
  return appending("append-sync", 2, sync + made_anew(file_7, "E1026/24", 22, "1042"));
}

// The first record of a file.
workload create() {
  const record_file file = {.path = file_7, .is_new = true};
  const sequel not_begun =
      event_list{"! ERROR: Failed to create a global header.", "close", "start rm " + file_7,
                 "! ERROR: " + file_7 + " was removed due to errors"} +
      answered(0, {.result = -1});
  call_table rows = message_rows();
  rows.push_back(status_row(file, {.rest = rest::from{"open " + file_7 + " 42"}}));
  rows.push_back({"! ERROR: Error acquiring status for " + file_7 + ", errno 2"});
  add(rows, open_rows(file, 1));
  rows.push_back(
      {"lseek 0",
       {{any_error(), event_list{"! ERROR: lseek failed to seek 0, errno = %e"} + not_begun}}});
  // A header that was not written passes for one that was, and is missed when it is read: nothing
  // is read from the empty file, while errno still is what the write left.
  const sequel not_read = event_list{"! ERROR: ghdr read fails errno %e."} + removed(file);
  rows.push_back({"write header 20..20",
                  {{on({EIO}), event_list{"lseek 0", "read 20", "stat /kyte_mounted"} + not_read},
                   {any_error(), event_list{"lseek 0", "read 20"} + not_read},
                   {counts(0, 19),
                    event_list{"! ERROR: Writing the gheader failed. errno %e."} + not_begun}}});
  const ending ends{.counted = true, .made = {file_7}};
  add(rows, gheader_read_rows(file));
  add(rows, entry_rows({file, 1026, 20, 22, not_added, "lseek 0"}));
  add(rows, gheader_write_rows(file, "20..64"));
  add(rows, answer_rows(ends));
  return {.name = "create",
          .file_type = 7,
          .operate = serving(new_record(7, 22, 1)),
          .expected = rows,
          .ends = ends};
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
  rows.push_back(status_row(ring_7, made_anew(file_7, "E1026/152", 150)));
  add(rows, open_rows(ring_7, 1));
  add(rows, gheader_read_rows(ring_7));
  add(rows, walk_rows(ring_7, every(500, 20, 4020)));
  rows.push_back({"gettimeofday",
                  {{any_error(), event_list{"! ERROR: gettimeofday() failed with errno %e."} +
                                     no_null_entry + removed(ring_7)}}});
  // A null entry that lies 20 bytes too early leaves the file shorter than a ring that has wrapped.
  add(rows, entry_rows({ring_7, 0, 8020, 152, no_null_entry, "lseek 20",
                        "ERROR: File already wrapped but file size 8172"}));
  add(rows, entry_rows({ring_7, 1026, 20, 150, not_added, "lseek 0"}));
  add(rows, gheader_write_rows(ring_7, "4520..192"));
  add(rows, answer_rows({.counted = true}));
  return {.name = "append-wrap",
          .file_type = 7,
          .files = {{7, nearly_full_ring()}},
          .operate = serving(new_record(7, 150, 1)),
          .expected = rows,
          .ends = {.counted = true}};
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
  rows.push_back(status_row(ring_6, made_anew(file_6, "E1026/480", 478)));
  add(rows, open_rows(ring_6, 1));
  add(rows, gheader_read_rows(ring_6));
  add(rows, walk_rows(ring_6, every(500, 4520, 8520)));
  add(rows, entry_rows({ring_6, 1026, 4020, 478, not_added, "lseek 0"}));
  add(rows, gheader_write_rows(ring_6, "9020..4520"));
  add(rows, answer_rows({.counted = true}));
  return {.name = "append-full",
          .file_type = 6,
          .files = {{6, full_ring()}},
          .operate = serving(new_record(6, 478, 1)),
          .expected = rows,
          .ends = {.counted = true}};
}

}  // namespace

std::vector<workload> record_workloads() {
  return {append(), append_sync(), create(), append_wrap(), append_full()};
}

}  // namespace vesk::test
