// A sweep that rebuilds the global header of a ring that has wrapped.
#include "tests/faults/gheader_rows.h"
#include "tests/faults/record_rows.h"
#include "tests/faults/sweep_rows.h"
#include "tests/faults/workload.h"
#include "tests/support/ring_builder.h"

namespace vesk::test {

namespace {

// Physically: seven entries of 500 bytes from 20 on, 476 bytes at 3520, 24 at 3996; then, an hour
// older, eight of 500 bytes from 4020 on, and a null entry at 8020. The first of the older ones is
// not in the ring any longer.
image wrapped_ring() {
  ring file(7);
  file.chained();
  for (uint32_t i = 0; i < 7; ++i) file.entry(1024, 480, 5001 + i);
  file.entry(1025, 456, 5008).entry(1026, 4, 5009);
  for (uint32_t i = 0; i < 8; ++i) file.entry(1024, 480, 1401 + i);
  return file.null(152, 2000).start(4520).end(4020).bytes();
}

const std::vector<uint32_t> newer = {20, 520, 1020, 1520, 2020, 2520, 3020, 3520, 3996};
const std::vector<uint32_t> older = {4020, 4520, 5020, 5520, 6020, 6520, 7020, 7520};
constexpr uint32_t oldest = 4020, tail = 8020, newest = 3996;

using offsets = std::vector<uint32_t>;

std::string second_phase(uint32_t start) {
  return phase("second pass start ", start, 8192);
}

// The first pass breaks off behind `count` entries, and the second one meets as many as that. As
// long as no time stamp has stepped back, it begins at 20; behind that at 4020, and goes around.
event_list broken_off_behind(size_t count) {
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
    const event_list then = rebuilt(oldest, offset);
    return {then, rebuilt_unwritten(oldest, offset), then};
  }
  offsets again = {oldest};
  while (again.back() != offset) again.push_back(again.back() + 500);
  const uint32_t behind = offset == tail ? 20 : offset + 500;
  const event_list lost = event_list{pass_failed("second", 2)} + given_up(swept_7);
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
  add(rows, sweep_tail_rows("= 0"));
  return {.name = "recover-global",
          .file_type = 7,
          .files = {{7, wrapped_ring()}},
          .prepare = nullptr,
          .operate = asking_for(7, 0),
          .expected = rows};
}

}  // namespace

std::vector<workload> wrapped_sweep_workloads() {
  return {recover_global()};
}

}  // namespace vesk::test
