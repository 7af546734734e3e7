#include "tests/faults/record_rows.h"

#include <cerrno>

#include "tests/faults/remount.h"
#include "tests/support/ring_builder.h"

namespace vesk::test {

namespace {

std::string name_of(const std::string &path) {
  return path.substr(path.rfind('/') + 1);
}

const event_list not_updated = {"! ERROR: Updating of the global header failed."};

// The zeros behind `len` bytes of data.
uint32_t padding_of(uint16_t len) {
  return (4 - len % 4) % 4;
}

const event_list no_space = {"! ERROR: Cannot make space for the new entry"};

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

event_list answered(uint32_t answer, const std::string &end) {
  return {"answer " + std::to_string(answer), "note sent", "drop", end};
}

event_list kept(uint32_t code, const std::string &facts) {
  return event_list{"! ERROR: vesk append failed \n", "close"} +
         answered(0, "= -1, code " + std::to_string(code) + facts);
}

event_list removed(const std::string &path, const std::string &facts) {
  return event_list{"! ERROR: vesk append failed \n", "close", "start rm " + path,
                    "! ERROR: " + path + " was removed due to errors"} +
         answered(0, "= -1" + facts + ", gone " + name_of(path));
}

// A message that cannot be received is not there; and where the flash is not mounted, or seems not
// to be, it is dropped unread.
call_table message_rows() {
  return {{"receive", {{any_error(), {"! ERROR: vesk main ipq_recv failed 0\n", "= -1"}}}},
          {"stat /kyte_mounted", {{any_error(), {"drop", "= 0"}}}}};
}

call_table answer_rows(const std::string &end) {
  // What was written stays, but the sender hears that it was not stored.
  const std::string unsure = "= -1" + end.substr(3);
  return {{"close",
           {{any_error(), event_list{"! ERROR: close failed errno %e"} + answered(0, unsure)}}},
          {"answer 1", {{any_error(), {"drop", end}}}},
          {"note sent"},
          {"drop", {{any_error(), {"! ERROR: Failed to drop ipq message\n", end}}}},
          {end}};
}

// Of the open alone, EIO has the flash mounted again behind the line.
call_table open_rows(const std::string &path, uint32_t sync) {
  const event_list line = {"! ERROR: Open of " + path + " failed with errno %e."};
  const event_list refused = answered(0, "= -1");
  call_table rows;
  if (sync == 2) {
    rows.push_back({"! ERROR: For " + path + " resp needed with SYNC flags 1042."});
  }
  rows.push_back({"open " + path + (sync == 2 ? " 1042" : " 42"),
                  {{on({EIO}), line + remount + refused}, {any_error(), line + refused}}});
  return rows;
}

row status_row(const std::string &path, const event_list &anew) {
  const event_list line = {"! ERROR: Error acquiring status for " + path + ", errno %e"};
  return {"stat " + path,
          {{on({ENOENT}), line + anew},
           {on({EIO}), event_list{"stat /kyte_mounted"} + line + anew},
           {any_error(), line + answered(0, "= -1")}}};
}

call_table walk_rows(const std::string &path, const std::vector<uint32_t> &offsets) {
  call_table rows;
  for (const uint32_t offset : offsets) {
    const event_list seek = {"! ERROR: lseek failed to seek " + std::to_string(offset) +
                             ", errno = %e"};
    const event_list read = {"! ERROR: ehdr read fails errno %e."};
    rows.push_back({"lseek " + std::to_string(offset),
                    {{on({EINVAL}), seek + no_space + kept(6)},
                     {any_error(), seek + no_space + removed(path)}}});
    rows.push_back({"read 20",
                    {{on({EFAULT}), read + no_space + kept(5)},
                     {any_error(), read + no_space + removed(path)},
                     {counts(0, 19), read + no_space + removed(path)}}});
  }
  return rows;
}

std::vector<uint32_t> every(uint32_t step, uint32_t first, uint32_t last) {
  std::vector<uint32_t> offsets;
  for (uint32_t offset = first; offset <= last; offset += step) offsets.push_back(offset);
  return offsets;
}

call_table gheader_read_rows(const std::string &path) {
  const event_list seek = {"! ERROR: lseek failed to seek 0, errno = %e"};
  const event_list read = {"! ERROR: ghdr read fails errno %e."};
  return {{"lseek 0", {{on({EBADF}), seek + kept(4)}, {any_error(), seek + removed(path)}}},
          {"read 20",
           {{on({EFAULT}), read + kept(5)},
            {any_error(), read + removed(path)},
            {counts(0, 19), read + removed(path)}}}};
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
  event_list in_place_of_header = {data(e.at)};
  if (pad > 0) in_place_of_header.push_back(zeros(e.at + e.len));
  in_place_of_header.push_back(rest_from(e.behind));

  call_table rows = {{"lseek " + std::to_string(e.at),
                      {{on({EINVAL}), seek + e.failed + kept(6)},
                       {any_error(), seek + e.failed + removed(e.path)}}},
                     {"write " + (e.type == 0 ? "N" : "E" + type) + "/" +
                          std::to_string(e.len + pad) + place(e.at),
                      {{only_once(any_error()), in_place_of_header, e.refused_next},
                       {on({ENOSPC, EFAULT}), event_list{data(e.at)} + body + e.failed + kept(2)},
                       {any_error(), event_list{data(e.at)} + body + e.failed + removed(e.path)},
                       {counts(0, 19), header + e.failed + kept(1)}}},
                     {data(e.at + 20),
                      {{on({ENOSPC, EFAULT}), body + e.failed + kept(2)},
                       {any_error(), body + e.failed + removed(e.path)},
                       {counts(0, 19), body + e.failed + kept(1)},
                       {counts(20, e.len), body + e.failed + removed(e.path)}}}};
  if (pad > 0) {
    rows.push_back({zeros(e.at + 20 + e.len),
                    {{any_error(), {the_rest}}, {counts(0, 3), align + e.failed + kept(1)}}});
  }
  return rows;
}

call_table gheader_write_rows(const std::string &path, const std::string &header) {
  const event_list seek = {"! ERROR: lseek failed to seek 0, errno = %e"};
  const event_list write = {"! ERROR: Writing the gheader failed. errno %e."};
  const event_list gone = not_updated + removed(path, ", counted");
  return {{"lseek 0", {{any_error(), seek + gone}}},
          {"write header " + header, {{any_error(), {the_rest}}, {counts(0, 19), write + gone}}}};
}

}  // namespace vesk::test
