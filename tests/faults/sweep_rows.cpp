#include "tests/faults/sweep_rows.h"

#include <cstring>

#include "tests/support/ring_builder.h"

namespace vesk::test {

std::function<int32_t(scene &)> asking_for(uint32_t file_type, uint32_t entries) {
  return [=](scene &scene) {
    std::vector<uint8_t> payload(8);
    std::memcpy(&payload[0], &file_type, sizeof file_type);
    std::memcpy(&payload[4], &entries, sizeof entries);
    return scene.serve(1158, payload);
  };
}

call_table sweep_head_rows() {
  call_table rows = message_rows();
  rows.push_back(ignored("heartbeat 1"));
  return rows;
}

call_table sweep_tail_rows() {
  return {ignored("heartbeat 0"), drop_row()};
}

sequel done(const swept_file &file) {
  return {.events = file.behind, .ends = ending{}};
}

sequel gone(const swept_file &file) {
  return {.events = file.behind, .ends = ending{.removed = {file.path}}};
}

sequel given_up(const swept_file &file) {
  return event_list{"close", "start rm " + file.path,
                    "! ERROR: Removing file " + file.path + ".\n"} +
         gone(file);
}

call_table sweep_open_rows(const swept_file &file) {
  const event_list unreadable = {"! ERROR: could not get gheader entries for " + file.path + "\n"};
  const event_list no_status = {"! ERROR: construct filename failed for file type " +
                                std::to_string(file.file_type) + "\n"};
  const event_list seek = {"! ERROR: lseek failed to seek at  0, errno = %e\n"};
  const event_list read = {"! ERROR: ghdr read fails errno %e.\n"};
  return {{"stat " + file.path, {{any_error(), no_status + done(file), file.refused_next}}},
          {"open " + file.path + " 2",
           {{any_error(), event_list{"! ERROR: Open of " + file.path + " failed with errno %e.\n",
                                     "start rm " + file.path} +
                              gone(file)}}},
          {"lseek 0", {{any_error(), seek + unreadable + given_up(file)}}},
          {"read 20",
           {{any_error(), read + unreadable + given_up(file)},
            {counts(0, 19), read + unreadable + given_up(file)}}}};
}

call_table sweep_gheader_rows(const swept_file &file, const std::string &header, tear tear) {
  const sequel close = event_list{"close"} + done(file);
  const sequel unwritten = event_list{"! ERROR: Writing the gheader failed. errno %e."} + close;
  return {{"lseek 0",
           {{any_error(), event_list{"! ERROR: lseek failed to seek 0, errno = %e"} + close}}},
          {"write header " + header,
           {{any_error(), {.rest = rest::all{}}},
            {counts(tear.least, tear.most), unwritten, torn},
            {counts(0, 19), unwritten}}},
          ignored("close")};
}

image wrapped_ring() {
  ring file(7);
  file.chained();
  for (uint32_t i = 0; i < 7; ++i) file.entry(1024, 480, 5001 + i);
  file.entry(1025, 456, 5008).entry(1026, 4, 5009);
  for (uint32_t i = 0; i < 8; ++i) file.entry(1024, 480, 1401 + i);
  return file.null(152, 2000).start(4520).end(4020).bytes();
}

image kernel_ring() {
  return ring(21).entry(1024, 40, 1001).bytes();
}

event_list probes(const offsets &probed) {
  event_list all;
  for (const uint32_t offset : probed) {
    all.push_back("lseek " + std::to_string(offset));
    all.push_back("read 20");
  }
  return all;
}

std::string lseek_line(uint32_t offset) {
  return "! ERROR: lseek failed to seek " + std::to_string(offset) + ", errno = %e\n";
}

call_table probe_rows(uint32_t offset, const std::string &read_line, const probe_rules &rules) {
  const event_list seek = {lseek_line(offset)}, read = {read_line};
  return {{"lseek " + std::to_string(offset),
           {{only_once(any_error()), seek + rules.once},
            {any_error(), seek + rules.seeks_fail_for_ever}}},
          {"read 20",
           {{only_once(any_error()), read + rules.once},
            {only_once(counts(0, 19)), read + rules.once},
            {any_error(), read + rules.reads_fail_for_ever},
            {counts(0, 19), read + rules.reads_fail_for_ever}}}};
}

probe_rules always(const sequel &then) {
  return {then, then, then};
}

}  // namespace vesk::test
