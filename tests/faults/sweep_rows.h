// Rows that the tables of all sweeps share.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/faults/record_rows.h"
#include "tests/faults/table.h"
#include "tests/faults/workload.h"

namespace vesk::test {

struct swept_file {
  std::string path;
  uint32_t file_type;
  event_list behind;              // the events behind the file
  std::string refused_next = {};  // why records are refused as long as it stays as it is
};

// The 8 KiB file, swept because a message asked for it.
inline const swept_file swept_7 = {file_7, 7, {"heartbeat 0", "drop"}};

// The message: `entries` 0 for the global header, else the entry headers.
std::function<int32_t(scene &)> asking_for(uint32_t file_type, uint32_t entries);

// The message around a sweep, and the heartbeats within it.
call_table sweep_head_rows();
call_table sweep_tail_rows();

sequel done(const swept_file &file);
sequel gone(const swept_file &file);      // the same, and the file is not there any longer
sequel given_up(const swept_file &file);  // closed and removed first

// Status, open, and the global header.
call_table sweep_open_rows(const swept_file &file);

// Why a record is refused for a file with a torn global header. errno is whatever it was.
inline const std::string torn = "ERROR: ghdr may be corrupt ";

// Where a global header is torn: the counts of bytes behind which it is neither the old one nor the
// new one.
struct tear {
  int64_t least, most;
};

// The global header that ends a repair. That it fails changes nothing.
call_table sweep_gheader_rows(const swept_file &file, const std::string &header, tear tear);

// Events: "lseek 20", "read 20", and so on for each.
event_list probes(const std::vector<uint32_t> &offsets);

std::string lseek_line(uint32_t offset);  // with a newline, as the sweep's own calls have it

// What follows a seek or a read of a header that fails once, and for ever, behind its own line.
struct probe_rules {
  sequel once;
  sequel seeks_fail_for_ever;
  sequel reads_fail_for_ever;
};

probe_rules always(const sequel &then);
call_table probe_rows(uint32_t offset, const std::string &read_line, const probe_rules &rules);

}  // namespace vesk::test
