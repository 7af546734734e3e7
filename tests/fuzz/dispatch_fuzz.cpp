// Any messages, one after another, as the daemon handles them: on a flash in memory, with a
// platform that fails on demand. The process aborts where a promise is broken:
//
//   - a message that was received is dropped once, and never one that the system manager keeps;
//   - whoever has an answer to expect gets one, of the right size, and nobody else gets any;
//   - a file type is enabled or not as the messages so far say;
//   - nothing touches a file while the flash is not mounted, nor a record for a disabled type;
//   - what is written goes to the log files, and into their capacity except for the writes that
//     tests/property/stray_write.h names;
//   - no descriptor stays open but that of a kernel log at which a repair ends;
//   - the statistics count records, one each, and only those that were stored;
//   - nothing runs for ever, and no payload is read beyond what the platform guarantees.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <numeric>
#include <optional>
#include <span>
#include <string>

#include "daemon/vesk_dispatch.h"
#include "format/vesk_catalogue.h"
#include "store/vesk_state.h"
#include "tests/fuzz/dispatch_input.h"
#include "tests/support/allowance.h"
#include "tests/support/header_bytes.h"
#include "tests/support/ram_flash.h"
#include "tests/support/recorder.h"
#include "tests/support/stray_write.h"
#include "tests/support/trial.h"

namespace vesk::test {
namespace {

constexpr char marker[] = "/kyte_mounted";

// A payload as the daemon may read it: zero behind what came.
class payload_view {
 public:
  explicit payload_view(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  bool missing() const { return bytes_.empty(); }
  uint8_t byte(size_t at) const { return at < bytes_.size() ? bytes_[at] : 0; }
  uint32_t big_endian(size_t at, size_t width) const {
    uint32_t value = 0;
    for (size_t i = 0; i < width; ++i) value = value << 8 | byte(at + i);
    return value;
  }
  // Little-endian, like the machines that the fuzzer runs on.
  uint32_t host(size_t at, size_t width) const {
    uint32_t value = 0;
    for (size_t i = width; i-- > 0;) value = value << 8 | byte(at + i);
    return value;
  }

 private:
  std::span<const uint8_t> bytes_;
};

record_fields fields_of(const payload_view &payload) {
  record_fields fields;
  fields.uuid = static_cast<uint16_t>(payload.big_endian(0, 2));
  fields.type = static_cast<uint16_t>(payload.big_endian(2, 2));
  fields.len = static_cast<uint16_t>(payload.big_endian(4, 2));
  fields.update = payload.byte(7);
  fields.file_type = static_cast<uint16_t>(payload.big_endian(16, 2));
  fields.sync = payload.byte(18);
  return fields;
}

// What the messages so far have made of the switches, told once more in the plainest way.
struct switches {
  std::array<uint8_t, 64> state{};
  bool flash_failed = false;
  uint8_t slot = 0;

  void enable(uint32_t file_type) {
    if (!flash_failed) state[file_type] = 1;
  }

  void obey_command(const payload_view &payload) {
    const uint32_t command = payload.host(0, 2);
    const uint32_t file_type = payload.host(2, 2);
    for (uint32_t i = 0; i < 64; ++i) {
      if (file_type != 0 && file_type != i) continue;
      if (command == 1) enable(i);
      if (command == 2) state[i] = 2;
    }
  }

  void obey_config(const payload_view &payload) {
    const size_t mine = size_t{slot} * 65;
    for (uint32_t i = 0; i < 64; ++i) {
      if (payload.byte(mine) == 1 && payload.byte(mine + 1 + i) == 1) {
        enable(i);
      } else {
        state[i] = 2;
      }
    }
  }

  void obey_failure(const payload_view &payload) {
    if (payload.big_endian(0, 4) != 3 || payload.big_endian(4, 4) != slot) return;
    flash_failed = true;
    state.fill(2);
  }

  void obey(uint32_t opcode, const payload_view &payload) {
    if (payload.missing()) return;
    if (opcode == 1153) obey_command(payload);
    if (opcode == 1155) obey_config(payload);
    if (opcode == 6024) obey_failure(payload);
  }
};

// How many bytes the answer has; nothing where there is none.
std::optional<size_t> expected_answer(uint32_t opcode, const payload_view &payload) {
  switch (opcode) {
    case 1151:
      if (payload.missing() || (payload.byte(18) != 1 && payload.byte(18) != 2)) return {};
      return 4;
    case 1152:
      return 21896;
    case 1153:
      if (payload.missing()) return {};
      return 8;
    default:
      return {};
  }
}

uint64_t entries_counted() {
  return std::accumulate(vesk_uuid_stat_table.begin(), vesk_uuid_stat_table.end(), uint64_t{0},
                         [](uint64_t sum, const vesk_uuid_stat &s) { return sum + s.entry_count; });
}

class dispatch_run {
 public:
  explicit dispatch_run(const dispatch_input &input);
  ~dispatch_run() { platform.on_call = nullptr; }

  void take(const step &next);

 private:
  void deliver(const step &next);
  void expect_answers(const step &next, bool handled);
  void expect_drops(const step &next);
  void expect_files_closed(const step &next);
  void expect_statistics(const step &next, bool handled, uint64_t before);
  void look_at_write(const std::string &path, uint32_t offset, std::span<const uint8_t> bytes);
  uint64_t allowance() const;

  void promise(bool is_kept, const char *text) const;

  ram_flash flash_;
  switches expected_;
  uint32_t step_ = 0;

  // Of the message that is being handled.
  std::map<std::string, image> before_;  // the files that it writes to
  std::optional<record_fields> request_;
};

dispatch_run::dispatch_run(const dispatch_input &input) {
  platform.reset();
  platform.slot = vesk_module_id = expected_.slot = input.slot;
  vesk_file_state.fill(1);
  expected_.state.fill(1);
  if (input.mounted) flash_.put(marker, {});
  platform.on_removal([this](const std::string &path) { flash_.remove(path); });
  flash_.on_write = [this](const std::string &path, uint32_t offset,
                           std::span<const uint8_t> bytes) { look_at_write(path, offset, bytes); };
}

void dispatch_run::promise(bool is_kept, const char *text) const {
  if (is_kept) return;
  std::fprintf(stderr, "broken: %s, at step %u\n", text, step_);
  for (const std::string &line : platform.journal) std::fprintf(stderr, "  %s\n", line.c_str());
  std::abort();
}

void dispatch_run::take(const step &next) {
  ++step_;
  switch (next.happens) {
    case step::what::message:
      deliver(next);
      break;
    case step::what::file:
      flash_.put(path_of(vesk_file_catalogue[next.row].file_type()),
                 {next.bytes.begin(), next.bytes.end()});
      break;
    case step::what::mounted:
      flash_.put(marker, {});
      break;
    case step::what::unmounted:
      flash_.remove(marker);
      break;
  }
}

// Each file that is there may be repaired, and one may be made.
uint64_t dispatch_run::allowance() const {
  uint64_t calls = allowance_of_request(1 << 20);
  for (const vesk_catalogue_row &row : vesk_file_catalogue) {
    if (flash_.find(path_of(row.file_type()))) calls += allowance_of_sweep(row.max_size);
  }
  return calls;
}

void dispatch_run::deliver(const step &next) {
  const uint8_t system_manager = next.platform & 0xC0;
  const payload_view payload(next.bytes);
  const bool handled = flash_.find(marker) != nullptr && system_manager == 0;
  if (payload.missing()) {
    platform.receive_without_payload(next.opcode);
  } else {
    platform.receive(next.opcode, {next.bytes.begin(), next.bytes.end()});
  }
  platform.always("ipq_recv", system_manager == not_received ? -1 : 0);
  platform.always("runctl_dispatch", system_manager == taken ? 0 : system_manager == kept ? 1 : 2);
  platform.always("ipq_send", (next.platform & send_fails) != 0 ? -1 : 0, EAGAIN);
  platform.always("ipq_drop", (next.platform & drop_fails) != 0 ? -1 : 0);
  platform.forget();
  before_.clear();
  request_.reset();
  if (next.opcode == 1151) request_ = fields_of(payload);
  if (handled) expected_.obey(next.opcode, payload);
  const uint64_t counted = entries_counted();

  flash_.allow(allowance());
  const int32_t result = vesk_dispatch_msg();

  promise(!flash_.overspent(), "a message is done with in time");
  promise((result == -1) == (system_manager == not_received) || handled,
          "only a message that is handled, or not received, has another result than 0");
  const bool disabled =
      handled && request_ && request_->file_type < 64 && expected_.state[request_->file_type] == 2;
  promise((handled && !disabled) || flash_.calls() <= 2, "no file is touched");
  promise(std::equal(expected_.state.begin(), expected_.state.end(), vesk_file_state.slots),
          "file types are enabled as they should be");
  promise(expected_.flash_failed == (bootflash_failure_flag != 0), "a failed flash is known");
  expect_answers(next, handled);
  expect_drops(next);
  expect_files_closed(next);
  expect_statistics(next, handled, counted);
  if (system_manager == not_received) platform.waiting.clear();
  platform.messages.clear();
}

void dispatch_run::expect_answers(const step &next, bool handled) {
  const payload_view payload(next.bytes);
  const std::optional<size_t> size = handled ? expected_answer(next.opcode, payload) : std::nullopt;
  promise(platform.sent.size() == (size ? 1 : 0), "one answer, to whom it is due");
  if (!size) return;
  const sent_message &answer = platform.sent[0];
  promise(answer.dest == 0xFE000000 && answer.opcode == 0 && answer.payload.size() == *size,
          "an answer is one");
  const payload_view answered(answer.payload);
  if (next.opcode == 1151) {
    promise(answered.host(0, 4) <= 1, "an answer to a record is 0 or 1");
    const bool stored = answered.host(0, 4) == 1;
    promise(!stored || (request_->file_type < 64 && expected_.state[request_->file_type] != 2),
            "nothing is stored in a disabled file");
  }
  if (next.opcode == 1153) {
    promise(answered.host(0, 4) == payload.host(0, 4), "an answer repeats the command");
    promise(answered.host(4, 4) == 0 || answered.host(4, 4) == UINT32_MAX, "a result is 0 or -1");
  }
}

void dispatch_run::expect_drops(const step &next) {
  const auto drops =
      std::count_if(platform.calls.begin(), platform.calls.end(),
                    [](const std::string &call) { return call.starts_with("ipq_drop("); });
  const uint8_t system_manager = next.platform & 0xC0;
  const bool mounted = flash_.find(marker) != nullptr;
  const bool held = system_manager == not_received || (system_manager == kept && mounted);
  promise(drops == (held ? 0 : 1), "a message is dropped once, or not at all where it is kept");
}

void dispatch_run::expect_files_closed(const step &next) {
  const std::vector<std::string> open = flash_.open_files();
  promise(open.size() <= (next.opcode == 1158 ? 1 : 0), "no descriptor is left open");
  for (const std::string &path : open) {
    promise(path == path_of(21) || path == path_of(22), "a repair ends at a kernel log only");
  }
  flash_.close_all();
}

void dispatch_run::expect_statistics(const step &next, bool handled, uint64_t before) {
  const uint64_t after = entries_counted();
  const bool cleared = handled && next.opcode == 1153 && after == 0;
  const bool record = handled && next.opcode == 1151 && after == before + 1;
  promise(after == before || cleared || record, "statistics count records, one each");
  if (after != before + 1 || platform.sent.empty()) return;
  promise(payload_view(platform.sent[0].payload).host(0, 4) == 1, "what is counted is stored");
}

void dispatch_run::look_at_write(const std::string &path, uint32_t offset,
                                 std::span<const uint8_t> bytes) {
  const auto row =
      std::find_if(vesk_file_catalogue.begin(), vesk_file_catalogue.end(),
                   [&](const vesk_catalogue_row &r) { return path_of(r.file_type()) == path; });
  promise(row != vesk_file_catalogue.end(), "only log files are written to");
  const image &before = before_.try_emplace(path, *flash_.find(path)).first->second;
  if (offset + bytes.size() <= row->max_size) return;
  const stray_write stray{
      .capacity = row->max_size,
      .offset = offset,
      .bytes = bytes,
      .before = before,
      .now = *flash_.find(path),
      .request = request_ ? &*request_ : nullptr,
      .last_line = platform.history.empty() ? "" : platform.history.back().text};
  promise(excuse(stray) != nullptr, "a write stays within its file's capacity");
}

}  // namespace
}  // namespace vesk::test

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  // What the recording platform finds wrong with a call counts as well.
  GTEST_FLAG_SET(break_on_failure, true);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const vesk::test::dispatch_input input = vesk::test::dispatch_input_of({data, size});
  vesk::test::dispatch_run run(input);
  for (const vesk::test::step &next : input.steps) run.take(next);
  return 0;
}
