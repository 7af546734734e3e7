// A sweep that rebuilds the global header of a ring that has wrapped.
#include <cstddef>

#include "tests/faults/gheader_rows.h"
#include "tests/faults/record_rows.h"
#include "tests/faults/sweep_rows.h"
#include "tests/faults/workload.h"
#include "tests/support/ring_builder.h"

namespace vesk::test {

namespace {

offsets head_of(const offsets &all, size_t count) {
  return {all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count)};
}

std::string second_phase(uint32_t start) {
  return phase("second pass start ", start, 8192);
}

// The first pass breaks off behind `count` entries, and the second one meets as many as that. As
// long as no time stamp has stepped back, it begins at 20; behind that at 4020, and goes around.
sequel broken_off_behind(size_t count) {
  const event_list failed = {pass_failed("first", 1)};
  if (count <= newer.size()) {
    const uint32_t next = count < newer.size() ? newer[count] : oldest;
    return failed + event_list{second_phase(20)} + probes(head_of(newer, count)) +
           rebuilt(20, next);
  }
  const event_list second = failed + event_list{second_phase(oldest)};
  if (count < older.size() + newer.size()) {
    const size_t behind_wrap = count - older.size();
    return second + probes(older + offsets{tail} + head_of(newer, behind_wrap)) +
           rebuilt(oldest, newer[behind_wrap]);
  }
  return second + probes(older + offsets{tail} + newer) + rebuilt(oldest, newest);
}

// And that one's first call fails too: the ring ends where it begins.
probe_rules first_pass_rules(size_t count) {
  if (count == 0) return always(event_list{pass_failed("first", 2)} + given_up(swept_7));
  const uint32_t start = count <= newer.size() ? 20 : oldest;
  const event_list second = {pass_failed("first", 1), second_phase(start),
                             "lseek " + std::to_string(start)};
  return {broken_off_behind(count),
          second + event_list{lseek_line(start)} + rebuilt_unwritten(start, start),
          second + event_list{"read 20", second_pass_read(start)} + rebuilt(start, start)};
}

// The second pass ends the ring at the header that it cannot read. Behind the start in the file,
// that means: what lies behind that entry is the new start, for which the ring is walked once more.
probe_rules second_pass_rules(uint32_t offset) {
  if (offset <= oldest) {
    const sequel then = rebuilt(oldest, offset);
    return {then, rebuilt_unwritten(oldest, offset), then};
  }
  offsets again = {oldest};
  while (again.back() != offset) again.push_back(again.back() + 500);
  const uint32_t behind = offset == tail ? 20 : offset + 500;
  const sequel lost = event_list{pass_failed("second", 2)} + given_up(swept_7);
  return {probes(again) + rebuilt(behind, offset),
          event_list{"lseek 4020", lseek_line(oldest)} + lost,
          event_list{"lseek 4020", "read 20", second_pass_read(oldest)} + lost};
}

workload recover_global() {
  call_table rows = sweep_head_rows();
  add(rows, sweep_open_rows(swept_7));
  rows.push_back({phase("start first phase  ", 20, 8192)});
  size_t count = 0;
  for (const uint32_t offset : newer + older + offsets{tail}) {
    add(rows, probe_rows(offset, first_pass_read(offset), first_pass_rules(count++)));
  }
  rows.push_back({second_phase(oldest)});
  for (const uint32_t offset : older + offsets{tail} + newer) {
    add(rows, probe_rows(offset, second_pass_read(offset), second_pass_rules(offset)));
  }
  rows.push_back({"! Updating gheader start 4020 end 3996 max 8192.\n"});
  add(rows, sweep_gheader_rows(swept_7, "4020..3996", {7, 19}));
  add(rows, sweep_tail_rows());
  return {.name = "recover-global",
          .file_type = 7,
          .files = {{7, wrapped_ring()}},
          .operate = asking_for(7, 0),
          .expected = rows};
}

}  // namespace

std::vector<workload> wrapped_sweep_workloads() {
  return {recover_global()};
}

}  // namespace vesk::test
