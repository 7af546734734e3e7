// The examination of the files at a first start. Three are there, and all of them are sound.
#include "recovery/vesk_validate.h"
#include "tests/faults/record_rows.h"
#include "tests/faults/sweep_rows.h"
#include "tests/faults/workload.h"
#include "tests/support/ring_builder.h"
#include "tests/support/trial.h"

namespace vesk::test {

namespace {

const std::vector<uint32_t> file_types = {1, 2, 3, 4, 5, 6, 7, 21, 22, 25, 29, 30, 33, 34, 35, 36};

using offsets = std::vector<uint32_t>;

// What a sweep finds and writes when nothing fails.
event_list sweep_of(const std::string &path, const std::string &end, const offsets &first,
                    const offsets &second, const std::string &ring) {
  const std::string from = ring.substr(0, ring.find(".."));
  const std::string to = ring.substr(ring.find("..") + 2);
  const std::string max = path == file_7 ? "8192" : "262144";
  return event_list{"heartbeat 1",
                    "stat " + path,
                    "open " + path + " 2",
                    "lseek 0",
                    "read 20",
                    "! gheader recovery start first phase  20 end " + end + " max " + max + " \n"} +
         probes(first) +
         event_list{"! gheader recovery second pass start " + from + " end " + end + " max " + max +
                    " \n"} +
         probes(second) +
         event_list{"! Updating gheader start " + from + " end " + to + " max " + max + ".\n",
                    "lseek 0", "write header " + ring, "close", "heartbeat 0"};
}

struct present_file {
  uint32_t file_type;
  std::string path;
  std::string gone;         // how its removal is told
  std::string empty_check;  // the check of an empty ring, which none of a kernel log is
  event_list sweep;
};

// 20: 40 bytes, 80: 4 bytes, and the end at 104.
const present_file nruda = {2, "/mnt/vesk/nruda.log", ", gone nruda.log",
                            "! ERROR: vesk_check_file_corrupted start 20 end 20 max 262144 \n",
                            sweep_of("/mnt/vesk/nruda.log", "104", {20, 80}, {20, 80}, "20..104")};

image nruda_ring() {
  return ring(2).chained().entry(1024, 40, 1001).entry(1025, 4, 1002).bytes();
}

// A ring that has wrapped: from 20 on seven entries of 500 bytes, 476 bytes at 3520, 24 at 3996;
// then, older, eight of 500 bytes from 4020 on, and a null entry at 8020. It starts at 4520.
const offsets newer = {20, 520, 1020, 1520, 2020, 2520, 3020, 3520, 3996};
const offsets older = {4020, 4520, 5020, 5520, 6020, 6520, 7020, 7520, 8020};

// A sweep that meets the older ones again takes them for a part of the ring.
const present_file temperature = {
    7, file_7, ", gone temperature_err.log",
    "! ERROR: vesk_check_file_corrupted start 20 end 20 max 8192 \n",
    sweep_of(file_7, "8192", newer + older, older + newer, "4020..3996")};

image temperature_ring() {
  ring file(7);
  file.chained();
  for (uint32_t i = 0; i < 7; ++i) file.entry(1024, 480, 5001 + i);
  file.entry(1025, 456, 5008).entry(1026, 4, 5009);
  for (uint32_t i = 0; i < 8; ++i) file.entry(1024, 480, 1401 + i);
  return file.null(152, 2000).start(4520).end(4020).bytes();
}

const present_file kernel = {21, "/mnt/vesk/kernel.log", ", gone kernel.log", "", {}};

image kernel_ring() {
  return ring(21).entry(1024, 40, 1001).bytes();
}

const std::vector<const present_file *> present_files = {&nruda, &temperature, &kernel};

std::string stat_of(uint32_t file_type) {
  return "stat " + path_of(file_type);
}

uint32_t behind(uint32_t file_type) {
  for (const uint32_t other : file_types) {
    if (other > file_type) return other;
  }
  return 0;
}

// From the next type on, as when nothing fails; or until the end.
std::string next_types(const present_file &file) {
  return rest_from(stat_of(behind(file.file_type)));
}
std::string next_types_until_end(const present_file &file) {
  return rest_from_until_end(stat_of(behind(file.file_type)));
}

// All types behind that one, where each file that is there takes a way of its own.
event_list types_behind(uint32_t file_type,
                        const std::function<event_list(const present_file &)> &way) {
  event_list all;
  for (const uint32_t type : file_types) {
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
std::string gone_from(const present_file &file, bool this_one = true) {
  std::string facts = "= 0";
  for (const present_file *other : present_files) {
    if (other->file_type > file.file_type || (other == &file && this_one)) facts += other->gone;
  }
  return facts;
}

// Its status twice, its open, its global header. Whatever fails but a status call or a read costs
// the file, and what fails for ever costs all files behind it too.
call_table examined_rows(const present_file &file) {
  const uint32_t type = file.file_type;
  const rule status_once = {only_once(any_error()), {next_types(file)}};
  const rule status_for_ever = {any_error(), types_behind(type, unseen) + event_list{"= 0"}};
  const event_list only_this = {next_types_until_end(file), "= 0" + file.gone};
  const event_list all = {gone_from(file)};
  return {
      {stat_of(type), {status_once, status_for_ever}},
      {stat_of(type), {status_once, status_for_ever}},
      {"open " + file.path + " 2",
       {{only_once(any_error()), not_opened(file) + only_this},
        {any_error(), not_opened(file) + types_behind(type, opens_fail) + all}}},
      {"lseek 0",
       {{only_once(any_error()), not_sought(file) + only_this},
        {any_error(), not_sought(file) + types_behind(type, seeks_fail) + all}}},
      {"read 20",
       {{only_once(any_error()), taken_for_empty(file) + event_list{next_types(file)}},
        {any_error(), taken_for_empty(file) + types_behind(type, reads_fail) + event_list{"= 0"}},
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
  const event_list once =
      marked(file) + event_list{next_types_until_end(file)} + file.sweep + event_list{"= 0"};
  const event_list no_seek =
      sweep_without(file, {"! ERROR: lseek failed to seek at  0, errno = %e\n"});
  const event_list no_read =
      sweep_without(file, {"read 20", "! ERROR: ghdr read fails errno %e.\n"});
  const event_list all = {gone_from(file)}, this_one = {"= 0" + file.gone};
  return {
      {"lseek " + std::to_string(offset),
       {{only_once(any_error()), lines.seek + once},
        {any_error(), lines.seek + marked(file) + types_behind(type, seeks_fail) + no_seek + all}}},
      {"read 20",
       {{only_once(any_error()), lines.read + once},
        {only_once(counts(0, 19)), lines.read + once},
        {any_error(),
         lines.read + marked(file) + types_behind(type, reads_fail) + no_read + this_one},
        {counts(0, 19),
         lines.read + marked(file) + types_behind(type, reads_are_short) + no_read + all}}}};
}

// The headers from the start on. A failed read tells the header before it.
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
  const event_list once = {next_types_until_end(file), "= 0" + file.gone};
  const event_list all = {gone_from(file)};
  return {{"lseek 20",
           {{only_once(any_error()), seek + once},
            {any_error(), seek + types_behind(type, seeks_fail) + all}}},
          {"read 20",
           {{only_once(any_error()), read + once},
            {only_once(counts(0, 19)), read + once},
            {any_error(), read + types_behind(type, reads_fail) + event_list{"= 0" + file.gone}},
            {counts(0, 19), read + types_behind(type, reads_are_short) + all}}}};
}

call_table absent_rows(uint32_t after, uint32_t before) {
  call_table rows;
  for (const uint32_t type : file_types) {
    if (type <= after || type >= before) continue;
    rows.push_back({stat_of(type),
                    {{only_once(any_error()), {the_rest}},
                     {any_error(), types_behind(type, unseen) + event_list{"= 0"}}}});
  }
  return rows;
}

const row closed = {"close", {{any_error(), {the_rest}}}};

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
  rows.push_back({"= 0"});
  return {.name = "validate",
          .file_type = 7,
          .files = {{2, nruda_ring()}, {7, temperature_ring()}, {21, kernel_ring()}},
          .prepare = nullptr,
          .operate = [](scene &) { return vesk_validate_files(); },
          .expected = rows};
}

}  // namespace

std::vector<workload> validation_workloads() {
  return {validate()};
}

}  // namespace vesk::test
