// Sweeps over damaged files, asked for by a message or, with mark 1, by nobody.
#include "recovery/vesk_recover.h"
#include "store/vesk_state.h"
#include "tests/faults/gheader_rows.h"
#include "tests/faults/record_rows.h"
#include "tests/faults/sweep_rows.h"
#include "tests/faults/workload.h"
#include "tests/support/ring_builder.h"

namespace vesk::test {

namespace {

const swept_file without_message = {file_7, 7, {"heartbeat 0"}};

// ---- Damage between entries.

// 20: 40 bytes, 80: 44 bytes of damage, 124: 40 bytes, 184: 40 bytes, and the end at 244.
image ring_with_gap() {
  return ring(7)
      .chained()
      .entry(1024, 40, 1001)
      .damage(44)
      .entry(1025, 40, 1002)
      .entry(1026, 40, 1003)
      .bytes();
}

const std::string adding = "! Adding NULL entry at 80 with size 24 \n";
const std::string updating = "! Updating eheader at 124 with size 24\n";
const event_list link_calls = {"lseek 124", "read 20", "lseek 124", "write !E1025/40 at 124"};

// The null entry over the damage; `failed` follows the lines of the writer. `behind_missing_header`
// is what follows where its header was not written, unnoticed.
call_table null_entry_rows(const sequel &failed, const sequel &behind_missing_header) {
  const event_list body = {"! ERROR: Write failed etype 0 len 24 errno %e."};
  return {
      {"gettimeofday",
       {{any_error(), event_list{"! ERROR: gettimeofday() failed with errno %e."} + failed}}},
      {"lseek 80",
       {{any_error(), event_list{"! ERROR: lseek failed to seek 80, errno = %e"} + failed}}},
      {"write N/24 at 80",
       {{only_once(any_error()), event_list{"write 24 zeros at 80"} + behind_missing_header},
        {any_error(), event_list{"write 24 zeros at 80"} + body + failed},
        {counts(0, 19),
         event_list{"! ERROR: Write failed ret %n ehdr entry type 0. errno %e."} + failed}}},
      {"write 24 zeros at 100", {{any_error(), body + failed}, {counts(0, 23), body + failed}}}};
}

// The rewriting of the header at 124, whose failure is ignored.
struct link_failures {
  sequel untouched;  // what follows where the header is as it was,
  sequel broken;     // where its sum does not hold,
  sequel seeks_fail_for_ever;
  sequel reads_fail_for_ever;
  sequel untouched_for_ever;  // where no write is made any longer,
  sequel broken_for_ever;     // or each stops behind some bytes
  sequel short_for_ever;
  std::string refused_next = {};  // behind eight bytes and more of every write
};

call_table link_rows(const link_failures &f) {
  const event_list seek = {"! ERROR: lseek failed to seek 124, errno = %e"};
  const event_list read = {"! ERROR: ehdr read fails errno %e"};
  const event_list write = {"! ERROR: Write failed ret %n errno %e."};
  const std::vector<rule> seek_rules = {{only_once(any_error()), seek + f.untouched},
                                        {any_error(), seek + f.seeks_fail_for_ever}};
  return {{"lseek 124", seek_rules},
          {"read 20",
           {{only_once(any_error()), read + f.untouched},
            {only_once(counts(0, 19)), read + f.untouched},
            {any_error(), read + f.reads_fail_for_ever},
            {counts(0, 19), read + f.reads_fail_for_ever}}},
          {"lseek 124", seek_rules},
          // The first difference is in the checksum, behind six bytes.
          {"write !E1025/40 at 124",
           {{any_error(), write + f.untouched_for_ever},
            {only_once(counts(0, 6)), write + f.untouched},
            {only_once(counts(7, 19)), write + f.broken},
            {counts(0, 6), write + f.short_for_ever},
            {counts(7, 7), write + f.broken_for_ever},
            {counts(8, 19), write + f.broken_for_ever, f.refused_next}}}};
}

workload recover_global_gap() {
  const sequel lost =
      event_list{"! ERROR: Add NULL ent failed \n", pass_failed("first", 2)} + given_up(swept_7);
  const std::string second_pass = phase("second pass start ", 20, 244);
  const event_list broken_off = {pass_failed("first", 1), second_pass};
  const sequel empty_by_seek =
      broken_off + event_list{"lseek 20", lseek_line(20)} + rebuilt_unwritten(20, 20);
  const sequel empty_by_read =
      broken_off + event_list{"lseek 20", "read 20", second_pass_read(20)} + rebuilt(20, 20);
  const sequel unwritten =
      event_list{"! ERROR: Writing the gheader failed. errno %e.", "close"} + done(swept_7);

  call_table rows = sweep_head_rows();
  add(rows, sweep_open_rows(swept_7));
  rows.push_back({phase("start first phase  ", 20, 244)});
  add(rows, probe_rows(20, first_pass_read(20),
                       always(event_list{pass_failed("first", 2)} + given_up(swept_7))));
  for (const uint32_t offset : every(4, 80, 124)) {
    add(rows,
        probe_rows(offset, first_pass_read(offset),
                   {broken_off + probes({20}) + rebuilt(20, 80), empty_by_seek, empty_by_read}));
    if (offset != 124) {
      rows.push_back({"! ERROR: Bad ehdr at offset " + std::to_string(offset) + "\n"});
    }
  }
  rows.push_back({adding});
  add(rows,
      null_entry_rows(lost, event_list{updating} + link_calls + probes({184}) +
                                event_list{second_pass} + probes({20, 80}) + rebuilt(20, 80)));
  rows.push_back({updating});
  const event_list whole_ring =
      probes({184}) + event_list{second_pass} + probes({20, 80, 124, 184});
  const event_list up_to_link = probes({184}) + event_list{second_pass} + probes({20, 80, 124});
  add(rows,
      link_rows({.untouched = whole_ring + rebuilt(20, 244),
                 .broken = up_to_link + rebuilt(20, 124),
                 .seeks_fail_for_ever = event_list{"lseek 184", lseek_line(184)} + empty_by_seek,
                 .reads_fail_for_ever =
                     event_list{"lseek 184", "read 20", first_pass_read(184)} + empty_by_read,
                 .untouched_for_ever = whole_ring + rebuilt(20, 244),
                 .broken_for_ever = up_to_link + writing(20, 124) + unwritten,
                 .short_for_ever = whole_ring + writing(20, 244) + unwritten,
                 .refused_next = torn}));
  add(rows, probe_rows(184, first_pass_read(184),
                       {broken_off + probes({20, 80, 124}) + rebuilt(20, 124), empty_by_seek,
                        empty_by_read}));
  rows.push_back({second_pass});
  for (const uint32_t offset : {20u, 80u, 124u}) {
    add(rows,
        probe_rows(offset, second_pass_read(offset),
                   {rebuilt(20, offset), rebuilt_unwritten(20, offset), rebuilt(20, offset)}));
  }
  rows.push_back({"! Updating gheader start 20 end 124 max 8192.\n"});
  add(rows, sweep_gheader_rows(swept_7, "20..124", {8, 19}));
  add(rows, sweep_tail_rows());
  return {.name = "recover-global-gap",
          .file_type = 7,
          .files = {{7, ring_with_gap()}},
          .operate = asking_for(7, 0),
          .expected = rows};
}

std::string entries_failed(uint32_t code) {
  return "! ERROR: eheader file recovery returned error " + std::to_string(code) + ". for " +
         file_7 + "\n";
}
std::string entries_read() {
  return "! ERROR: ehdr read failed errno %e\n";
}

// The repair of entry headers behind the global header, up to the close. Mark 1 takes the same road
// as mark 2.
call_table entry_repair_rows(const swept_file &swept) {
  const sequel unreadable = event_list{entries_failed(1)} + given_up(swept);
  const sequel lost =
      event_list{"! ERROR: Adding null block failed.\n", entries_failed(2)} + given_up(swept);
  const sequel behind = probes({184}) + event_list{"close"} + done(swept);
  call_table rows = {{"! eheader recovery start 20 end 244 max 8192.\n"}};
  add(rows, probe_rows(20, entries_read(), always(unreadable)));
  for (const uint32_t offset : every(4, 80, 124)) {
    add(rows, probe_rows(offset, entries_read(), always(unreadable)));
    if (offset != 124) {
      rows.push_back({"! ERROR: Bad ehdr at offset " + std::to_string(offset) + "\n"});
    }
  }
  rows.push_back({adding});
  add(rows, null_entry_rows(lost, event_list{updating} + link_calls + behind));
  rows.push_back({updating});
  add(rows, link_rows({.untouched = behind,
                       .broken = behind,
                       .seeks_fail_for_ever = event_list{"lseek 184", lseek_line(184)} + unreadable,
                       .reads_fail_for_ever =
                           event_list{"lseek 184", "read 20", entries_read()} + unreadable,
                       .untouched_for_ever = behind,
                       .broken_for_ever = behind,
                       .short_for_ever = behind}));
  add(rows, probe_rows(184, entries_read(), always(unreadable)));
  rows.push_back(ignored("close"));
  return rows;
}

workload recover_entries() {
  call_table rows = sweep_head_rows();
  add(rows, sweep_open_rows(swept_7));
  add(rows, entry_repair_rows(swept_7));
  add(rows, sweep_tail_rows());
  return {.name = "recover-entries",
          .file_type = 7,
          .files = {{7, ring_with_gap()}},
          .operate = asking_for(7, 1),
          .expected = rows};
}

workload recover_mark_1() {
  call_table rows = {ignored("heartbeat 1")};
  add(rows, sweep_open_rows(without_message));
  add(rows, entry_repair_rows(without_message));
  rows.push_back(ignored("heartbeat 0"));
  return {.name = "recover-mark-1",
          .file_type = 7,
          .files = {{7, ring_with_gap()}},
          .prepare = [](scene &) { vesk_file_sanity[7] = 1; },
          .operate = [](scene &) { return vesk_recover_corrupted_files(); },
          .expected = rows};
}

// 60 bytes of damage from the start on: the start moves to 80, and nothing else is written.
workload recover_start() {
  const image file =
      ring(7).chained().damage(60).entry(1030, 60, 1002).entry(1025, 40, 1003).bytes();
  const sequel unreadable = event_list{entries_failed(1)} + given_up(swept_7);
  call_table rows = sweep_head_rows();
  add(rows, sweep_open_rows(swept_7));
  rows.push_back({"! eheader recovery start 20 end 220 max 8192.\n"});
  for (const uint32_t offset : every(4, 20, 76)) {
    add(rows, probe_rows(offset, entries_read(), always(unreadable)));
    rows.push_back({"! ERROR: Bad ehdr at offset " + std::to_string(offset) + "\n"});
  }
  for (const uint32_t offset : {80u, 160u}) {
    add(rows, probe_rows(offset, entries_read(), always(unreadable)));
  }
  rows.push_back({"! Updating gheader start 80 end 220 max 8192.\n"});
  add(rows, sweep_gheader_rows(swept_7, "80..220", {8, 15}));
  add(rows, sweep_tail_rows());
  return {.name = "recover-start",
          .file_type = 7,
          .files = {{7, file}},
          .operate = asking_for(7, 2),
          .expected = rows};
}

// ---- Files that are not repaired.

// A marked kernel log with a sound global header ends the sweep, and stays open and marked; the
// mark of a type behind it is not looked at. Where the kernel log falls out of the sweep, it is.
workload recover_kernel() {
  const event_list next_type = {"stat /mnt/vesk/platform.log",
                                "! ERROR: construct filename failed for file type 25\n",
                                "heartbeat 0", "drop"};
  call_table rows = message_rows({}, {{25, 2}});
  rows.push_back(ignored("heartbeat 1"));
  add(rows, sweep_open_rows({file_21, 21, next_type}));
  add(rows, sweep_tail_rows());
  // A status call that fails for ever with EIO fails for the other type as well.
  return {.name = "recover-kernel",
          .file_type = 7,
          .files = {{21, kernel_ring()}},
          .prepare = [](scene &) { vesk_file_sanity[25] = 2; },
          .operate = asking_for(21, 0),
          .expected = rows,
          .ends = {.marks = {{21, 3}, {25, 2}}, .open = {file_21}}};
}

// The global header does not hold. Where the removal does not start, the file stays, and the next
// record is refused for it.
workload recover_torn() {
  const std::string why = torn + "4242";
  const std::string no_entries = "! ERROR: could not get gheader entries for " + file_7 + "\n";
  image damaged = ring_with_gap();
  damaged[7] ^= 0x5A;
  const swept_file swept = {file_7, 7, swept_7.behind, why};
  call_table rows = message_rows(why);
  // What the heartbeat leaves in errno is what the line prints.
  rows.push_back({"heartbeat 1",
                  {{any_error(),
                    {.events = {"stat " + file_7, "open " + file_7 + " 2", "lseek 0", "read 20",
                                "! ERROR: ghdr may be corrupt %e\n"},
                     .rest = rest::from{no_entries}}}}});
  add(rows, sweep_open_rows(swept));
  rows.push_back({"! " + why + "\n"});
  rows.push_back({no_entries});
  rows.push_back(ignored("close"));
  rows.push_back(
      {"start rm " + file_7, {{any_error(), {.rest = rest::all{}, .ends = ending{}}, why}}});
  rows.push_back({"! ERROR: Removing file " + file_7 + ".\n"});
  add(rows, sweep_tail_rows());
  return {.name = "recover-torn",
          .file_type = 7,
          .files = {{7, damaged}},
          .operate = asking_for(7, 0),
          .expected = rows,
          .ends = {.removed = {file_7}}};
}

}  // namespace

std::vector<workload> damage_sweep_workloads() {
  return {recover_global_gap(), recover_entries(), recover_mark_1(),
          recover_start(),      recover_kernel(),  recover_torn()};
}

}  // namespace vesk::test
