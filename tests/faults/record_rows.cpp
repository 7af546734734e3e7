#include "tests/faults/record_rows.h"

#include <cerrno>

#include "tests/faults/remount.h"
#include "tests/support/ring_builder.h"

namespace vesk::test {

namespace {

// The zeros behind `len` bytes of data.
uint32_t padding_of(uint16_t len) {
  return (4 - len % 4) % 4;
}

}  // namespace

record_fields new_record(uint16_t file_type, uint16_t len, uint8_t sync) {
  record_fields fields;
  fields.type = 1026;
  fields.len = len;
  fields.secs = 3000;
  fields.file_type = file_type;
  fields.sync = sync;
  return fields;
}

std::function<int32_t(scene &)> serving(const record_fields &fields) {
  return [fields](scene &scene) { return scene.serve(fields); };
}

image short_ring() {
  return ring(7).entry(1024, 40, 1001).entry(1030, 60, 1002).entry(1025, 40, 1003).bytes();
}

sequel answered(uint32_t answer, const ending &ends) {
  return {.events = {"answer " + std::to_string(answer), "note sent", "drop"}, .ends = ends};
}

sequel kept(const record_file &file, uint32_t code) {
  ending ends{.result = -1, .code = code};
  if (file.is_new) ends.made = {file.path};
  return event_list{"! ERROR: vesk append failed \n", "close"} + answered(0, ends);
}

// A new file that is removed was not there before either.
sequel removed(const record_file &file, bool counted) {
  ending ends{.result = -1, .counted = counted};
  if (!file.is_new) ends.removed = {file.path};
  return event_list{"! ERROR: vesk append failed \n", "close", "start rm " + file.path,
                    "! ERROR: " + file.path + " was removed due to errors"} +
         answered(0, ends);
}

sequel made_anew(const std::string &path, const std::string &entry, uint32_t len,
                 const std::string &flags) {
  return event_list{"open " + path + " " + flags,
                    "lseek 0",
                    "write header 20..20",
                    "lseek 0",
                    "read 20",
                    "lseek 20",
                    "write " + entry + " at 20",
                    "write " + std::to_string(len) + " bytes at 40",
                    "write 2 zeros at " + std::to_string(40 + len),
                    "lseek 0",
                    "write header 20.." + std::to_string(42 + len),
                    "close"} +
         answered(1, {.counted = true});
}

// A message that cannot be received is not there; and where the flash is not mounted, or seems not
// to be, it is dropped unread.
call_table message_rows(const std::string &refused_next,
                        const std::map<uint32_t, uint32_t> &marks) {
  return {{"receive",
           {{any_error(),
             {.events = {"! ERROR: vesk main ipq_recv failed 0\n"},
              .ends = ending{.result = -1, .marks = marks}},
             refused_next}}},
          {"stat /kyte_mounted",
           {{any_error(), {.events = {"drop"}, .ends = ending{.marks = marks}}, refused_next}}}};
}

row drop_row() {
  return {"drop", {{any_error(), {.events = {"! ERROR: Failed to drop ipq message\n"}}}}};
}

// Where the close fails, what was written stays, but the sender hears that it was not stored.
call_table answer_rows(const ending &ends) {
  const ending unsure{.result = -1, .counted = ends.counted, .made = ends.made};
  return {{"close",
           {{any_error(), event_list{"! ERROR: close failed errno %e"} + answered(0, unsure)}}},
          {"answer 1", {{any_error(), {.events = {"drop"}}}}},
          {"note sent"},
          drop_row()};
}

// Of the open alone, EIO has the flash mounted again behind the line.
call_table open_rows(const record_file &file, uint32_t sync) {
  const event_list line = {"! ERROR: Open of " + file.path + " failed with errno %e."};
  const sequel refused = answered(0, {.result = -1});
  call_table rows;
  if (sync == 2) {
    rows.push_back({"! ERROR: For " + file.path + " resp needed with SYNC flags 1042."});
  }
  rows.push_back({"open " + file.path + (sync == 2 ? " 1042" : " 42"),
                  {{on({EIO}), line + remount + refused, file.refused_next},
                   {any_error(), line + refused, file.refused_next}}});
  return rows;
}

row status_row(const record_file &file, const sequel &anew) {
  const event_list line = {"! ERROR: Error acquiring status for " + file.path + ", errno %e"};
  return {"stat " + file.path,
          {{on({ENOENT}), line + anew},
           {on({EIO}), event_list{"stat /kyte_mounted"} + line + anew},
           {any_error(), line + answered(0, {.result = -1}), file.refused_next}}};
}

call_table walk_rows(const record_file &file, const offsets &walked) {
  call_table rows;
  for (const uint32_t offset : walked) {
    const event_list seek = {"! ERROR: lseek failed to seek " + std::to_string(offset) +
                             ", errno = %e"};
    const event_list read = {"! ERROR: ehdr read fails errno %e."};
    rows.push_back({"lseek " + std::to_string(offset),
                    {{on({EINVAL}), seek + no_space + kept(file, 6)},
                     {any_error(), seek + no_space + removed(file)}}});
    rows.push_back({"read 20",
                    {{on({EFAULT}), read + no_space + kept(file, 5)},
                     {any_error(), read + no_space + removed(file)},
                     {counts(0, 19), read + no_space + removed(file)}}});
  }
  return rows;
}

offsets every(uint32_t step, uint32_t first, uint32_t last) {
  offsets all;
  for (uint32_t offset = first; offset <= last; offset += step) all.push_back(offset);
  return all;
}

call_table gheader_read_rows(const record_file &file) {
  const event_list seek = {"! ERROR: lseek failed to seek 0, errno = %e"};
  const event_list read = {"! ERROR: ghdr read fails errno %e."};
  return {{"lseek 0",
           {{on({EBADF}), seek + kept(file, 4), file.refused_next},
            {any_error(), seek + removed(file)}}},
          {"read 20",
           {{on({EFAULT}), read + kept(file, 5), file.refused_next},
            {any_error(), read + removed(file)},
            {counts(0, 19), read + removed(file)}}}};
}

call_table entry_rows(const entry_write &e) {
  const std::string type = std::to_string(e.type), len = std::to_string(e.len);
  const uint32_t pad = padding_of(e.len);
  const auto place = [](uint32_t at) { return " at " + std::to_string(at); };
  const auto data = [&](uint32_t at) {
    return "write " + len + (e.type == 0 ? " zeros" : " bytes") + place(at);
  };
  const auto zeros = [&](uint32_t at) {
    return "write " + std::to_string(pad) + " zeros" + place(at);
  };

  const event_list seek = {"! ERROR: lseek failed to seek " + std::to_string(e.at) +
                           ", errno = %e"};
  const event_list header = {"! ERROR: Write failed ret %n ehdr entry type " + type +
                             ". errno %e."};
  const event_list body = {"! ERROR: Write failed etype " + type + " len " + len + " errno %e."};
  const event_list align = {"! ERROR: Persistent Logger : write failed to align etype " + type +
                            " len " + std::to_string(pad) + ", errno %e."};

  // A header that is not written at all passes for one that is, and its data lie in its place.
  sequel in_place_of_header{.events = {data(e.at)}, .rest = rest::from{e.behind}};
  if (pad > 0) in_place_of_header.events.push_back(zeros(e.at + e.len));

  call_table rows = {
      {"lseek " + std::to_string(e.at),
       {{on({EINVAL}), seek + e.failed + kept(e.file, 6)},
        {any_error(), seek + e.failed + removed(e.file)}}},
      {"write " + (e.type == 0 ? "N" : "E" + type) + "/" + std::to_string(e.len + pad) +
           place(e.at),
       {{only_once(any_error()), in_place_of_header, e.refused_next},
        {on({ENOSPC, EFAULT}), event_list{data(e.at)} + body + e.failed + kept(e.file, 2)},
        {any_error(), event_list{data(e.at)} + body + e.failed + removed(e.file)},
        {counts(0, 19), header + e.failed + kept(e.file, 1)}}},
      {data(e.at + 20),
       {{on({ENOSPC, EFAULT}), body + e.failed + kept(e.file, 2)},
        {any_error(), body + e.failed + removed(e.file)},
        {counts(0, 19), body + e.failed + kept(e.file, 1)},
        {counts(20, e.len), body + e.failed + removed(e.file)}}}};
  if (pad > 0) {
    rows.push_back({zeros(e.at + 20 + e.len),
                    {{any_error(), {.rest = rest::all{}}},
                     {counts(0, 3), align + e.failed + kept(e.file, 1)}}});
  }
  return rows;
}

call_table gheader_write_rows(const record_file &file, const std::string &header) {
  const event_list seek = {"! ERROR: lseek failed to seek 0, errno = %e"};
  const event_list write = {"! ERROR: Writing the gheader failed. errno %e."};
  const sequel gone =
      event_list{"! ERROR: Updating of the global header failed."} + removed(file, true);
  return {{"lseek 0", {{any_error(), seek + gone}}},
          {"write header " + header,
           {{any_error(), {.rest = rest::all{}}}, {counts(0, 19), write + gone}}}};
}

}  // namespace vesk::test
