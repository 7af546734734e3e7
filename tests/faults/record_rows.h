// Rows that the tables of all records share: the message around a record, the file's header, the
// writes of an entry.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/faults/table.h"
#include "tests/faults/workload.h"

namespace vesk::test {

using offsets = std::vector<uint32_t>;

inline const std::string file_2 = "/mnt/vesk/nruda.log";                // 256 KiB
inline const std::string file_6 = "/mnt/vesk/temperature_history.log";  // 128 KiB
inline const std::string file_7 = "/mnt/vesk/temperature_err.log";      // 8 KiB
inline const std::string file_21 = "/mnt/vesk/kernel.log";              // 8 MiB

// The file types that the catalogue knows.
inline const std::vector<uint32_t> known_types = {1,  2,  3,  4,  5,  6,  7,  21,
                                                  22, 25, 29, 30, 33, 34, 35, 36};

// The file of a record, as the record finds it.
struct record_file {
  std::string path;
  bool is_new = false;            // only the record makes it
  std::string refused_next = {};  // why records are refused as long as it stays as it is
};

inline const record_file ring_7 = {.path = file_7}, ring_6 = {.path = file_6};

inline const event_list no_space = {"! ERROR: Cannot make space for the new entry"};
inline const event_list not_added = {"! ERROR: Failed to add the new entry."};

// Sent with secs 3000 by the sender 77, of type 1026.
record_fields new_record(uint16_t file_type, uint16_t len, uint8_t sync);
std::function<int32_t(scene &)> serving(const record_fields &fields);

// 20: 40 bytes of type 1024, 80: 60 of type 1030, 160: 40 of type 1025, and the end at 220.
image short_ring();

offsets every(uint32_t step, uint32_t first, uint32_t last);

// The answer and the end of the message.
sequel answered(uint32_t answer, const ending &ends);

// What follows a failure behind the open, once its own lines are logged. With a code between 1 and
// 6 except 3 the file is kept, otherwise removed.
sequel kept(const record_file &file, uint32_t code);
sequel removed(const record_file &file, bool counted = false);

// A new ring's first record, from the open on: an entry of type and size as in "E1026/24", with
// `len` bytes of data and two of padding.
sequel made_anew(const std::string &path, const std::string &entry, uint32_t len,
                 const std::string &flags = "42");

// The message up to its own first call. What is there meanwhile stays: a reason to refuse the next
// record, and marks.
call_table message_rows(const std::string &refused_next = {},
                        const std::map<uint32_t, uint32_t> &marks = {});
row drop_row();                              // the message's end
call_table answer_rows(const ending &ends);  // the close and everything behind it
call_table open_rows(const record_file &file,
                     uint32_t sync);  // of a file that is there, or was made

// The status of the file: without one, or with an I/O error, the file is made anew by writing an
// empty ring's header; with any other, the record is refused.
//
// EIO has the flash mounted again by the status call, and by the request once more; the second
// time the marker is not to be seen any longer.
row status_row(const record_file &file, const sequel &anew);

// The entry headers that space making walks over.
call_table walk_rows(const record_file &file, const offsets &walked);

// The read of the global header.
call_table gheader_read_rows(const record_file &file);

// An entry: seek, header, data of `len` bytes, padding; of type 0 a null entry.
struct entry_write {
  record_file file;
  uint16_t type;
  uint32_t at;
  uint16_t len;
  event_list failed;   // the lines behind that of the failed call
  std::string behind;  // the first event behind the entry
  // Why the next record is refused when the header was not written, but passed for it.
  std::string refused_next = {};
};
call_table entry_rows(const entry_write &entry);

// The global header as it is written in the end.
call_table gheader_write_rows(const record_file &file, const std::string &header);

}  // namespace vesk::test
