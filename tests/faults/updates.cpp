// Records that replace an entry.
#include <cerrno>

#include "tests/faults/record_rows.h"
#include "tests/faults/workload.h"

namespace vesk::test {

namespace {

record_fields update_of(uint16_t type, uint32_t instance) {
  record_fields fields = new_record(7, 58, 1);
  fields.type = type;
  fields.update = 1;
  fields.instance = instance;
  return fields;
}

// The headers that the search reads. A search that fails has no line of its own behind that.
call_table search_rows(const offsets &searched) {
  call_table rows;
  for (const uint32_t offset : searched) {
    const event_list seek = {"! ERROR: lseek failed to seek " + std::to_string(offset) +
                             ", errno = %e"};
    const event_list read = {"! ERROR: ehdr read fails errno %e"};
    rows.push_back(
        {"lseek " + std::to_string(offset),
         {{on({EINVAL}), seek + kept(ring_7, 6)}, {any_error(), seek + removed(ring_7)}}});
    rows.push_back({"read 20",
                    {{on({EFAULT}), read + kept(ring_7, 5)},
                     {any_error(), read + removed(ring_7)},
                     {counts(0, 19), read + removed(ring_7)}}});
  }
  return rows;
}

// In a ring made anew there is nothing to update: the record is its first entry.
row status_before_update(const std::string &type) {
  return status_row(ring_7, made_anew(file_7, "E" + type + "/60", 58));
}

workload update_workload(const std::string &name, const record_fields &fields,
                         const offsets &searched) {
  call_table rows = message_rows();
  rows.push_back(status_before_update("1030"));
  add(rows, open_rows(ring_7, 1));
  add(rows, gheader_read_rows(ring_7));
  add(rows, search_rows(searched));
  add(rows,
      entry_rows(
          {ring_7, 1030, 80, 58, {"! ERROR: Failed to update an entry at offset."}, "close"}));
  add(rows, answer_rows({}));
  return {.name = name,
          .file_type = 7,
          .files = {{7, short_ring()}},
          .operate = serving(fields),
          .expected = rows};
}

// The last match is known at the end only; the first one, asked for, ends the search.
workload update() {
  return update_workload("update", update_of(1030, 0), {20, 80, 160});
}

workload update_first() {
  return update_workload("update-first", update_of(1030, 1), {20, 80});
}

// Nothing matches: the record goes behind the last entry.
workload update_missing() {
  call_table rows = message_rows();
  rows.push_back(status_before_update("1031"));
  add(rows, open_rows(ring_7, 1));
  add(rows, gheader_read_rows(ring_7));
  add(rows, search_rows({20, 80, 160}));
  add(rows, entry_rows({ring_7, 1031, 220, 58, not_added, "lseek 0"}));
  add(rows, gheader_write_rows(ring_7, "20..300"));
  add(rows, answer_rows({.counted = true}));
  return {.name = "update-missing",
          .file_type = 7,
          .files = {{7, short_ring()}},
          .operate = serving(update_of(1031, 0)),
          .expected = rows,
          .ends = {.counted = true}};
}

}  // namespace

std::vector<workload> update_workloads() {
  return {update(), update_first(), update_missing()};
}

}  // namespace vesk::test
