// Rows that the tables of all records share: the message around a record, the file's header, the
// writes of an entry.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/faults/table.h"
#include "tests/faults/workload.h"

namespace vesk::test {

inline const std::string file_7 = "/mnt/vesk/temperature_err.log";      // 8 KiB
inline const std::string file_6 = "/mnt/vesk/temperature_history.log";  // 128 KiB

inline const event_list not_added = {"! ERROR: Failed to add the new entry."};

// Sent with secs 3000 by the sender 77, of type 1026.
record_fields new_record(uint16_t file_type, uint16_t len, uint8_t sync);
std::function<int32_t(scene &)> serving(const record_fields &fields);

// 20: 40 bytes of type 1024, 80: 60 of type 1030, 160: 40 of type 1025, and the end at 220.
image short_ring();

std::vector<uint32_t> every(uint32_t step, uint32_t first, uint32_t last);

// The answer and the end of the message, with what came of it.
event_list answered(uint32_t answer, const std::string &end);

// What follows a failure behind the open, once its own lines are logged. With a code between 1 and
// 6 but 3 the file is kept, otherwise removed.
event_list kept(uint32_t code, const std::string &facts = "");
event_list removed(const std::string &path, const std::string &facts = "");

call_table message_rows();                                     // up to the record's own first call
call_table answer_rows(const std::string &end);                // the close and everything behind it
call_table open_rows(const std::string &path, uint32_t sync);  // the open, of a file that is there

// The status of the file: without one, or with an I/O error, the file is made anew by writing an
// empty ring's header; with any other, the record is refused.
//
// EIO has the flash mounted again by the status call, and by the request once more; the second
// time the marker is not to be seen any longer.
row status_row(const std::string &path, const event_list &anew);

// The entry headers that space making walks over.
call_table walk_rows(const std::string &path, const std::vector<uint32_t> &offsets);

// The read of the global header.
call_table gheader_read_rows(const std::string &path);

// An entry: seek, header, data of `len` bytes, padding; of type 0 a null entry.
struct entry_write {
  std::string path;
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
call_table gheader_write_rows(const std::string &path, const std::string &header);

}  // namespace vesk::test
