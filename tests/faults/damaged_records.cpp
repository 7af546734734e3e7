// Records for files that are damaged.
#include <cerrno>

#include "tests/faults/record_rows.h"
#include "tests/faults/workload.h"
#include "tests/support/ring_builder.h"

namespace vesk::test {

namespace {

// Where a null entry failed, its code gives way to 3, and that costs the file.
const sequel null_entry_failed =
    event_list{"! ERROR: Add NULL ent failed \n"} + no_space +
    event_list{"! ERROR: vesk append failed \n", "close", "start rm " + file_6,
               "! ERROR: " + file_6 + " was removed due to errors"} +
    answered(0, {.result = -1, .code = 3, .removed = {file_6}});

// Like a full ring, but the second oldest entry, at 5020, has 24 bytes of data and is damaged.
image ring_with_damage() {
  ring file(6);
  for (uint32_t i = 0; i < 10; ++i) file.entry(1024, 480, i < 8 ? 2001 + i : 1001 + i);
  file.damage(44);
  for (uint32_t i = 0; i < 251; ++i) file.entry(1024, 480, 1020 + i);
  return file.null(488, 1300).start(4520).end(4020).bytes();
}

// The null entry over the damage.
call_table cover_rows() {
  const event_list seek = {"! ERROR: lseek failed to seek 5020, errno = %e"};
  const event_list header = {"! ERROR: Write failed ret %n ehdr entry type 0. errno %e."};
  const event_list body = {"! ERROR: Write failed etype 0 len 24 errno %e."};
  return {{"gettimeofday",
           {{any_error(),
             event_list{"! ERROR: gettimeofday() failed with errno %e."} + null_entry_failed}}},
          {"lseek 5020", {{any_error(), seek + null_entry_failed}}},
          {"write N/24 at 5020",
           {{only_once(any_error()),
             {.events = {"write 24 zeros at 5020"}, .rest = rest::from{"lseek 5064"}}},
            {any_error(), event_list{"write 24 zeros at 5020"} + body + null_entry_failed},
            {counts(0, 19), header + null_entry_failed}}},
          {"write 24 zeros at 5040",
           {{any_error(), body + null_entry_failed}, {counts(0, 23), body + null_entry_failed}}}};
}

// The prev_size of the entry behind the damage. Its failure is no failure of the record, but leaves
// a code, which counts when the next call of that kind fails as well.
call_table link_rows() {
  const std::string next = "lseek 5564";
  const event_list seek = {"! ERROR: lseek failed to seek 5064, errno = %e"};
  const event_list seek_next =
      event_list{next, "! ERROR: lseek failed to seek 5564, errno = %e"} + no_space;
  const event_list read = {"! ERROR: ehdr read fails errno %e"};
  const event_list read_next =
      event_list{next, "read 20", "! ERROR: ehdr read fails errno %e."} + no_space;
  const event_list write = {"! ERROR: Write failed ret %n errno %e."};
  const sequel go_on = {.rest = rest::from{next}};
  const auto go_on_with = [&](uint32_t code) {
    return sequel{.rest = rest::from{next}, .ends = ending{.code = code, .counted = true}};
  };
  const event_list to_entry = {next,         "read 20", "lseek 6064", "read 20",
                               "lseek 6564", "read 20", "lseek 7064", "read 20",
                               "lseek 7564", "read 20", "lseek 8064", "read 20",
                               "lseek 8564", "read 20", "lseek 4020", "write E1026/480 at 4020"};
  const event_list no_data =
      to_entry +
      event_list{"write 478 bytes at 4020", "! ERROR: Write failed etype 1026 len 478 errno %e."} +
      not_added;
  const std::vector<rule> seek_rules = {{only_once(on({EINVAL})), seek + go_on_with(6)},
                                        {only_once(any_error()), seek + go_on},
                                        {on({EINVAL}), seek + seek_next + kept(ring_6, 6)},
                                        {any_error(), seek + seek_next + removed(ring_6)}};
  return {{"lseek 5064", seek_rules},
          {"read 20",
           {{only_once(on({EFAULT})), read + go_on_with(5)},
            {only_once(any_error()), read + go_on},
            {only_once(counts(0, 19)), read + go_on},
            {on({EFAULT}), read + read_next + kept(ring_6, 5)},
            {any_error(), read + read_next + removed(ring_6)},
            {counts(0, 19), read + read_next + removed(ring_6)}}},
          {"lseek 5064", seek_rules},
          {"write !E1024/480 at 5064",
           {{only_once(any_error()), write + go_on_with(1)},
            {only_once(counts(0, 19)), write + go_on_with(1)},
            {on({ENOSPC, EFAULT}), write + no_data + kept(ring_6, 2)},
            {any_error(), write + no_data + kept(ring_6, 1)},
            {counts(0, 19),
             write + to_entry +
                 event_list{"! ERROR: Write failed ret %n ehdr entry type 1026. errno %e."} +
                 not_added + kept(ring_6, 1)}}}};
}

// Eleven steps of four bytes through the damage; the header at 5064 is good again.
workload append_over_damage() {
  call_table rows = message_rows();
  rows.push_back(status_row(ring_6, made_anew(file_6, "E1026/480", 478)));
  add(rows, open_rows(ring_6, 1));
  add(rows, gheader_read_rows(ring_6));
  add(rows, walk_rows(ring_6, {4520}));
  add(rows, walk_rows(ring_6, every(4, 5020, 5064)));
  rows.push_back(
      {"! ERROR: make space -found good ent 5064 add NULL ent at off 5020 size 24 corr size 44 "
       "total corr size 44 \n"});
  add(rows, cover_rows());
  add(rows, link_rows());
  add(rows, walk_rows(ring_6, every(500, 5564, 8564)));
  add(rows, entry_rows({ring_6, 1026, 4020, 478, not_added, "lseek 0"}));
  add(rows, gheader_write_rows(ring_6, "9064..4520"));
  add(rows, answer_rows({.counted = true}));
  return {.name = "append-over-damage",
          .file_type = 6,
          .files = {{6, ring_with_damage()}},
          .operate = serving(new_record(6, 478, 1)),
          .expected = rows,
          .ends = {.counted = true}};
}

const ending refused = {.result = -1}, refused_and_removed = {.result = -1, .removed = {file_7}};

// The removal of a file: where its start fails, the file stays as it is, and costs the next record
// too.
call_table removal_rows(const std::string &why) {
  return {{"start rm " + file_7, {{any_error(), {.rest = rest::all{}, .ends = refused}, why}}},
          {"! ERROR: " + file_7 + " was removed due to errors"},
          {"answer 0", {{any_error(), {.events = {"drop"}}}}},
          {"note sent"},
          drop_row()};
}

// Ten bytes are too few for a global header.
workload append_to_stub() {
  const record_file stub = {
      .path = file_7, .refused_next = "ERROR: " + file_7 + " exists, but too small or corrupt."};
  call_table rows = message_rows(stub.refused_next);
  rows.push_back(status_row(stub, made_anew(file_7, "E1026/24", 22)));
  rows.push_back({"! " + stub.refused_next});
  add(rows, removal_rows(stub.refused_next));
  return {.name = "append-to-stub",
          .file_type = 7,
          .files = {{7, image(10, 0x5A)}},
          .operate = serving(new_record(7, 22, 1)),
          .expected = rows,
          .ends = refused_and_removed};
}

image torn_ring() {
  image file = short_ring();
  file[7] ^= 0x5A;
  return file;
}

// The global header does not hold. The line prints an errno that nothing has set.
workload append_to_torn() {
  const record_file torn = {.path = file_7, .refused_next = "ERROR: ghdr may be corrupt 4242"};
  call_table rows = message_rows(torn.refused_next);
  rows.push_back(status_row(torn, made_anew(file_7, "E1026/24", 22)));
  add(rows, open_rows(torn, 1));
  add(rows, gheader_read_rows(torn));
  rows.push_back({"! " + torn.refused_next});
  rows.push_back({"! ERROR: vesk append failed \n"});
  // That the close failed leaves everything as it is.
  rows.push_back(
      {"close",
       {{any_error(), event_list{"! ERROR: close failed errno %e"} + answered(0, refused),
         torn.refused_next}}});
  add(rows, removal_rows(torn.refused_next));
  return {.name = "append-to-torn",
          .file_type = 7,
          .files = {{7, torn_ring()}},
          .operate = serving(new_record(7, 22, 1)),
          .expected = rows,
          .ends = refused_and_removed};
}

}  // namespace

std::vector<workload> damaged_workloads() {
  return {append_over_damage(), append_to_stub(), append_to_torn()};
}

}  // namespace vesk::test
