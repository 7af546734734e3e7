// The examination of the files at a first start. Three are there, and all of them are sound.
#include <algorithm>

#include "recovery/vesk_validate.h"
#include "tests/faults/record_rows.h"
#include "tests/faults/sweep_rows.h"
#include "tests/faults/workload.h"
#include "tests/support/ring_builder.h"
#include "tests/support/trial.h"

namespace vesk::test {

namespace {

// What a sweep finds and writes when nothing fails; the old end, and the new ring.
struct swept_ring {
  std::string path;
  uint32_t max, old_end;
  offsets first, second;  // the headers that the two passes read
  uint32_t start, end;
};

event_list sweep_of(const swept_ring &ring) {
  const std::string from = std::to_string(ring.start), to = std::to_string(ring.end);
  const std::string end = std::to_string(ring.old_end), max = " max " + std::to_string(ring.max);
  return event_list{"heartbeat 1",
                    "stat " + ring.path,
                    "open " + ring.path + " 2",
                    "lseek 0",
                    "read 20",
                    "! gheader recovery start first phase  20 end " + end + max + " \n"} +
         probes(ring.first) +
         event_list{"! gheader recovery second pass start " + from + " end " + end + max + " \n"} +
         probes(ring.second) +
         event_list{"! Updating gheader start " + from + " end " + to + max + ".\n", "lseek 0",
                    "write header " + from + ".." + to, "close", "heartbeat 0"};
}

struct present_file {
  uint32_t file_type;
  std::string path;
  std::string empty_check;  // the check of an empty ring, which none of a kernel log is
  event_list sweep;
};

// 20: 40 bytes, 80: 4 bytes, and the end at 104.
const present_file nruda = {2, file_2,
                            "! ERROR: vesk_check_file_corrupted start 20 end 20 max 262144 \n",
                            sweep_of({file_2, 0x40000, 104, {20, 80}, {20, 80}, 20, 104})};

image nruda_ring() {
  return ring(2).chained().entry(1024, 40, 1001).entry(1025, 4, 1002).bytes();
}

// A sweep that meets the older ones again takes them for a part of the ring.
const present_file temperature = {7, file_7,
                                  "! ERROR: vesk_check_file_corrupted start 20 end 20 max 8192 \n",
                                  sweep_of({file_7, 8192, 8192, newer + older + offsets{tail},
                                            older + offsets{tail} + newer, oldest, newest})};

const present_file kernel = {21, file_21, "", {}};

const std::vector<const present_file *> present_files = {&nruda, &temperature, &kernel};

std::string stat_of(uint32_t file_type) {
  return "stat " + path_of(file_type);
}

// From the next type on, as when nothing fails.
rest::from next_types(const present_file &file) {
  return {stat_of(*std::upper_bound(known_types.begin(), known_types.end(), file.file_type))};
}

// All types behind that one, where each file that is there takes a way of its own.
event_list types_behind(uint32_t file_type,
                        const std::function<event_list(const present_file &)> &way) {
  event_list all;
  for (const uint32_t type : known_types) {
    if (type <= file_type) continue;
    event_list one = {stat_of(type)};
    for (const present_file *file : present_files) {
      if (file->file_type == type) one = way(*file);
    }
    all = all + one;
  }
  return all;
}

// Every status call fails: no file is to be seen.
event_list unseen(const present_file &file) {
  return {stat_of(file.file_type)};
}

event_list opened(const present_file &file) {
  return {stat_of(file.file_type), stat_of(file.file_type), "open " + file.path + " 2"};
}
event_list not_opened(const present_file &file) {
  return {"! ERROR: Open of " + file.path + " failed with errno %e.\n", "start rm " + file.path};
}
event_list not_sought(const present_file &file) {
  return {"! ERROR: lseek failed to seek 0, errno = %e\n", "close", "start rm " + file.path};
}
event_list cut_short(const present_file &file) {
  return {"! ERROR: ghdr read fails errno %e.\n", "close", "start rm " + file.path};
}
// A read that fails passes for one that found an empty ring.
event_list taken_for_empty(const present_file &file) {
  if (file.empty_check.empty()) return {"close"};
  return {file.empty_check, "close"};
}

// What becomes of the files behind one whose call fails for ever.
event_list opens_fail(const present_file &file) {
  return opened(file) + not_opened(file);
}
event_list seeks_fail(const present_file &file) {
  return opened(file) + event_list{"lseek 0"} + not_sought(file);
}
event_list reads_fail(const present_file &file) {
  return opened(file) + event_list{"lseek 0", "read 20"} + taken_for_empty(file);
}
event_list reads_are_short(const present_file &file) {
  return opened(file) + event_list{"lseek 0", "read 20"} + cut_short(file);
}

// The end, when this file is gone, and all those behind it.
sequel all_gone(const present_file &file) {
  ending ends;
  for (const present_file *other : present_files) {
    if (other->file_type >= file.file_type) ends.removed.push_back(other->path);
  }
  return {.ends = ends};
}

// The other types as when nothing fails, but this file is gone.
sequel only_gone(const present_file &file) {
  return {.rest = next_types(file), .ends = ending{.removed = {file.path}}};
}

// Its status twice, its open, its global header. Whatever fails but a status call or a read costs
// the file, and what fails for ever costs all files behind it too.
call_table examined_rows(const present_file &file) {
  const uint32_t type = file.file_type;
  const rule status_once = {only_once(any_error()), {.rest = next_types(file)}};
  const rule status_for_ever = {any_error(), {.events = types_behind(type, unseen)}};
  const sequel only_this = only_gone(file), all = all_gone(file);
  return {{stat_of(type), {status_once, status_for_ever}},
          {stat_of(type), {status_once, status_for_ever}},
          {"open " + file.path + " 2",
           {{only_once(any_error()), not_opened(file) + only_this},
            {any_error(), not_opened(file) + types_behind(type, opens_fail) + all}}},
          {"lseek 0",
           {{only_once(any_error()), not_sought(file) + only_this},
            {any_error(), not_sought(file) + types_behind(type, seeks_fail) + all}}},
          {"read 20",
           {{only_once(any_error()), {.events = taken_for_empty(file), .rest = next_types(file)}},
            {any_error(), {.events = taken_for_empty(file) + types_behind(type, reads_fail)}},
            {only_once(counts(0, 19)), cut_short(file) + only_this},
            {counts(0, 19), cut_short(file) + types_behind(type, reads_are_short) + all}}}};
}

// Behind a chain that could not be read, the file is swept; and lost, if it still cannot be read.
event_list marked(const present_file &file) {
  return {"! ERROR: File " + file.path + " had internal error or is corrupted 3.\n", "close"};
}

event_list sweep_without(const present_file &file, const event_list &unreadable) {
  return event_list{"heartbeat 1", "stat " + file.path, "open " + file.path + " 2", "lseek 0"} +
         unreadable +
         event_list{"! ERROR: could not get gheader entries for " + file.path + "\n", "close",
                    "start rm " + file.path, "! ERROR: Removing file " + file.path + ".\n",
                    "heartbeat 0"};
}

struct probe_lines {
  event_list seek, read;
};

call_table marking_probe_rows(const present_file &file, uint32_t offset, const probe_lines &lines) {
  const uint32_t type = file.file_type;
  const sequel once = {.events = marked(file), .rest = next_types(file), .behind = file.sweep};
  const event_list no_seek =
      sweep_without(file, {"! ERROR: lseek failed to seek at  0, errno = %e\n"});
  const event_list no_read =
      sweep_without(file, {"read 20", "! ERROR: ghdr read fails errno %e.\n"});
  const sequel all = all_gone(file), only_this = {.ends = ending{.removed = {file.path}}};
  return {
      {"lseek " + std::to_string(offset),
       {{only_once(any_error()), lines.seek + once},
        {any_error(), lines.seek + marked(file) + types_behind(type, seeks_fail) + no_seek + all}}},
      {"read 20",
       {{only_once(any_error()), lines.read + once},
        {only_once(counts(0, 19)), lines.read + once},
        {any_error(),
         lines.read + marked(file) + types_behind(type, reads_fail) + no_read + only_this},
        {counts(0, 19),
         lines.read + marked(file) + types_behind(type, reads_are_short) + no_read + all}}}};
}

// The headers from the start on. A failed read reports the header before it.
struct header {
  uint32_t offset;
  std::string fields;  // uuid, type, size, flags
};

call_table chain_rows(const present_file &file, const std::vector<header> &chain) {
  call_table rows;
  std::string last = "euuid 0 etype 0 esize 0 0 \n";
  for (size_t i = 0; i < chain.size(); ++i) {
    const std::string at = std::to_string(chain[i].offset);
    add(rows,
        marking_probe_rows(file, chain[i].offset,
                           {{"! ERROR: lseek failed to seek at start " + at + ", errno = %e\n"},
                            {"! ERROR: ehdr read failed at start " + at + " errno %e entry_count " +
                                 std::to_string(i) + "\n",
                             "! ERROR: " + last}}));
    last = chain[i].fields;
  }
  return rows;
}

call_table end_rows(const present_file &file, const offsets &tried) {
  call_table rows;
  for (const uint32_t offset : tried) {
    const std::string at = std::to_string(offset);
    add(rows, marking_probe_rows(
                  file, offset,
                  {{"! ERROR: lseek failed to seek at end " + at + ", errno = %e\n"},
                   {"! ERROR: ehdr read failed at end " + at + " errno %e read_bytes %n\n"}}));
  }
  return rows;
}

// The first slot of a ring that begins elsewhere. A file of which it cannot be read is removed
// without a further word.
call_table first_slot_rows(const present_file &file) {
  const uint32_t type = file.file_type;
  const event_list seek = {"! ERROR: lseek failed to seek at beginning 20, errno = %e\n", "close",
                           "start rm " + file.path};
  const event_list read = {"! ERROR: ehdr read at beginning 20 failed errno %e\n", "close",
                           "start rm " + file.path};
  const sequel once = only_gone(file), all = all_gone(file);
  return {
      {"lseek 20",
       {{only_once(any_error()), seek + once},
        {any_error(), seek + types_behind(type, seeks_fail) + all}}},
      {"read 20",
       {{only_once(any_error()), read + once},
        {only_once(counts(0, 19)), read + once},
        {any_error(),
         {.events = read + types_behind(type, reads_fail), .ends = ending{.removed = {file.path}}}},
        {counts(0, 19), read + types_behind(type, reads_are_short) + all}}}};
}

call_table absent_rows(uint32_t after, uint32_t before) {
  call_table rows;
  for (const uint32_t type : known_types) {
    if (type <= after || type >= before) continue;
    rows.push_back({stat_of(type),
                    {{only_once(any_error()), {.rest = rest::all{}}},
                     {any_error(), {.events = types_behind(type, unseen)}}}});
  }
  return rows;
}

const row closed = ignored("close");

workload validate() {
  call_table rows = absent_rows(0, 2);
  add(rows, examined_rows(nruda));
  rows.push_back({"! ERROR: vesk_check_file_corrupted start 20 end 104 max 262144 \n"});
  add(rows, chain_rows(nruda, {{20, "euuid 77 etype 1024 esize 40 0 \n"}, {80, ""}}));
  add(rows, end_rows(nruda, {84, 80}));
  rows.push_back(closed);
  add(rows, absent_rows(2, 7));
  add(rows, examined_rows(temperature));
  rows.push_back({"! ERROR: vesk_check_file_corrupted start 4520 end 4020 max 8192 \n"});
  std::vector<header> chain;
  for (const uint32_t offset : every(500, 4520, 7520)) {
    chain.push_back({offset, "euuid 77 etype 1024 esize 480 0 \n"});
  }
  chain.push_back({8020, "euuid 293 etype 0 esize 152 0 \n"});
  for (const uint32_t offset : every(500, 20, 3020)) {
    chain.push_back({offset, "euuid 77 etype 1024 esize 480 0 \n"});
  }
  chain.push_back({3520, "euuid 77 etype 1025 esize 456 0 \n"});
  chain.push_back({3996, ""});
  add(rows, chain_rows(temperature, chain));
  add(rows, first_slot_rows(temperature));
  add(rows, end_rows(temperature, {4000, 3996}));
  rows.push_back(closed);
  add(rows, examined_rows(kernel));
  rows.push_back(closed);
  add(rows, absent_rows(21, 64));
  return {.name = "validate",
          .file_type = 7,
          .files = {{2, nruda_ring()}, {7, wrapped_ring()}, {21, kernel_ring()}},
          .operate = [](scene &) { return vesk_validate_files(); },
          .expected = rows};
}

}  // namespace

std::vector<workload> validation_workloads() {
  return {validate()};
}

}  // namespace vesk::test
