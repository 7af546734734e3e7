// Records for files that are damaged.
#include <cerrno>

#include "tests/faults/record_rows.h"
#include "tests/faults/workload.h"
#include "tests/support/ring_builder.h"

namespace vesk::test {

namespace {

const event_list no_space = {"! ERROR: Cannot make space for the new entry"};
const std::string gone_6 = ", gone temperature_history.log";

// Where a null entry failed, its code gives way to 3, and that costs the file.
event_list null_entry_failed() {
  return event_list{"! ERROR: Add NULL ent failed \n"} + no_space +
         event_list{"! ERROR: vesk append failed \n", "close", "start rm " + file_6,
                    "! ERROR: " + file_6 + " was removed due to errors"} +
         answered(0, "= -1, code 3" + gone_6);
}

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
  return {
      {"gettimeofday",
       {{any_error(),
         event_list{"! ERROR: gettimeofday() failed with errno %e."} + null_entry_failed()}}},
      {"lseek 5020", {{any_error(), seek + null_entry_failed()}}},
      {"write N/24 at 5020",
       {{only_once(any_error()), {"write 24 zeros at 5020", rest_from("lseek 5064")}},
        {any_error(), event_list{"write 24 zeros at 5020"} + body + null_entry_failed()},
        {counts(0, 19), header + null_entry_failed()}}},
      {"write 24 zeros at 5040",
       {{any_error(), body + null_entry_failed()}, {counts(0, 23), body + null_entry_failed()}}}};
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
  const event_list walk = {rest_from_until_end(next)};
  const event_list to_entry = {next,         "read 20", "lseek 6064", "read 20",
                               "lseek 6564", "read 20", "lseek 7064", "read 20",
                               "lseek 7564", "read 20", "lseek 8064", "read 20",
                               "lseek 8564", "read 20", "lseek 4020", "write E1026/480 at 4020"};
  const event_list no_data =
      to_entry +
      event_list{"write 478 bytes at 4020", "! ERROR: Write failed etype 1026 len 478 errno %e."} +
      not_added;
  const std::vector<rule> seek_rules = {
      {only_once(on({EINVAL})), seek + walk + event_list{"= 0, code 6, counted"}},
      {only_once(any_error()), seek + event_list{rest_from(next)}},
      {on({EINVAL}), seek + seek_next + kept(6)},
      {any_error(), seek + seek_next + removed(file_6)}};
  return {{"lseek 5064", seek_rules},
          {"read 20",
           {{only_once(on({EFAULT})), read + walk + event_list{"= 0, code 5, counted"}},
            {only_once(any_error()), read + event_list{rest_from(next)}},
            {only_once(counts(0, 19)), read + event_list{rest_from(next)}},
            {on({EFAULT}), read + read_next + kept(5)},
            {any_error(), read + read_next + removed(file_6)},
            {counts(0, 19), read + read_next + removed(file_6)}}},
          {"lseek 5064", seek_rules},
          {"write !E1024/480 at 5064",
           {{only_once(any_error()), write + walk + event_list{"= 0, code 1, counted"}},
            {only_once(counts(0, 19)), write + walk + event_list{"= 0, code 1, counted"}},
            {on({ENOSPC, EFAULT}), write + no_data + kept(2)},
            {any_error(), write + no_data + kept(1)},
            {counts(0, 19),
             write + to_entry +
                 event_list{"! ERROR: Write failed ret %n ehdr entry type 1026. errno %e."} +
                 not_added + kept(1)}}}};
}

// Eleven steps of four bytes through the damage; the header at 5064 is good again.
workload append_over_damage() {
  call_table rows = message_rows();
  rows.push_back(status_row(
      file_6, event_list{"open " + file_6 + " 42", "lseek 0", "write header 20..20", "lseek 0",
                         "read 20", "lseek 20", "write E1026/480 at 20", "write 478 bytes at 40",
                         "write 2 zeros at 518", "lseek 0", "write header 20..520", "close"} +
                  answered(1, "= 0, counted")));
  add(rows, open_rows(file_6, 1));
  add(rows, gheader_read_rows(file_6));
  add(rows, walk_rows(file_6, {4520}));
  add(rows, walk_rows(file_6, every(4, 5020, 5064)));
  rows.push_back(
      {"! ERROR: make space -found good ent 5064 add NULL ent at off 5020 size 24 corr size 44 "
       "total corr size 44 \n"});
  add(rows, cover_rows());
  add(rows, link_rows());
  add(rows, walk_rows(file_6, every(500, 5564, 8564)));
  add(rows, entry_rows({file_6, 1026, 4020, 478, not_added, "lseek 0"}));
  add(rows, gheader_write_rows(file_6, "9064..4520"));
  add(rows, answer_rows("= 0, counted"));
  return {.name = "append-over-damage",
          .file_type = 6,
          .files = {{6, ring_with_damage()}},
          .prepare = nullptr,
          .operate = serving(new_record(6, 478, 1)),
          .expected = rows};
}

event_list anew() {
  return event_list{"open " + file_7 + " 42",
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

// The removal of a file: where its start fails, the file stays as it is, and costs the next record
// too.
call_table removal_rows(const std::string &why) {
  const std::string gone = ", gone temperature_err.log";
  return {{"start rm " + file_7,
           {{any_error(), {rest_until_end, "= -1"}, why},
            {other_results(), {rest_until_end, "= -1"}, why}}},
          {"! ERROR: " + file_7 + " was removed due to errors"},
          {"answer 0", {{any_error(), {"drop", "= -1" + gone}}}},
          {"note sent"},
          {"drop", {{any_error(), {"! ERROR: Failed to drop ipq message\n", "= -1" + gone}}}},
          {"= -1" + gone}};
}

// Ten bytes are too few for a global header.
workload append_to_stub() {
  const std::string why = "ERROR: " + file_7 + " exists, but too small or corrupt.";
  const event_list line = {"! ERROR: Error acquiring status for " + file_7 + ", errno %e"};
  call_table rows = message_rows();
  rows.push_back({"stat " + file_7,
                  {{on({ENOENT}), line + anew()},
                   {on({EIO}), event_list{"stat /kyte_mounted"} + line + anew()},
                   {any_error(), line + answered(0, "= -1"), why}}});
  rows.front().rules.front().refused_next = why;
  rows[1].rules.front().refused_next = why;
  rows.push_back({"! " + why});
  add(rows, removal_rows(why));
  return {.name = "append-to-stub",
          .file_type = 7,
          .files = {{7, image(10, 0x5A)}},
          .prepare = nullptr,
          .operate = serving(new_record(7, 22, 1)),
          .expected = rows};
}

image torn_ring() {
  image file = short_ring();
  file[7] ^= 0x5A;
  return file;
}

// The global header does not hold. The line prints an errno that nothing has set.
workload append_to_torn() {
  const std::string why = "ERROR: ghdr may be corrupt 4242";
  const auto refusing = [&](call_table some) {
    for (row &row : some) {
      for (rule &rule : row.rules) {
        if (rule.then.back() == "= -1" || rule.then.back() == "= 0" ||
            rule.then.back().starts_with("= -1, code")) {
          rule.refused_next = why;
        }
      }
    }
    return some;
  };
  call_table rows = refusing(message_rows());
  rows.push_back(status_row(file_7, anew()));
  rows.back().rules.back().refused_next = why;
  add(rows, refusing(open_rows(file_7, 1)));
  add(rows, refusing(gheader_read_rows(file_7)));
  rows.push_back({"! " + why});
  rows.push_back({"! ERROR: vesk append failed \n"});
  // That the close failed leaves everything as it is.
  rows.push_back(
      {"close",
       {{any_error(), event_list{"! ERROR: close failed errno %e"} + answered(0, "= -1"), why}}});
  add(rows, removal_rows(why));
  return {.name = "append-to-torn",
          .file_type = 7,
          .files = {{7, torn_ring()}},
          .prepare = nullptr,
          .operate = serving(new_record(7, 22, 1)),
          .expected = rows};
}

}  // namespace

std::vector<workload> damaged_workloads() {
  return {append_over_damage(), append_to_stub(), append_to_torn()};
}

}  // namespace vesk::test
