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

// Physically: seven entries of 500 bytes from 20 on, 476 bytes at 3520, 24 at 3996; then, an hour
// older, eight of 500 bytes from 4020 on, and a null entry at 8020. The first of the older ones is
// not in the ring any longer.
image wrapped_ring();
inline const offsets newer = {20, 520, 1020, 1520, 2020, 2520, 3020, 3520, 3996};
inline const offsets older = {4020, 4520, 5020, 5520, 6020, 6520, 7020, 7520};
constexpr uint32_t oldest = 4020, tail = 8020, newest = 3996;

image kernel_ring();

// Events: "lseek 20", "read 20", and so on for each.
event_list probes(const offsets &probed);

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
