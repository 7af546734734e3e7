#include "tests/powercut/daemon_in_memory.h"

#include <span>
#include <string_view>
#include <utility>

#include "daemon/vesk_request.h"
#include "recovery/vesk_validate.h"
#include "store/vesk_state.h"
#include "tests/support/allowance.h"
#include "tests/support/recorder.h"
#include "tests/support/trial.h"

namespace vesk::test {

daemon_in_memory::daemon_in_memory(uint32_t file_type, bool keep_lines)
    : path_(path_of(file_type)), capacity_(capacity_of(file_type)), keep_lines_(keep_lines) {
  platform.reset();
  platform.printed.clear();
  if (!keep_lines_) platform.suppressed = {100, 101};
  platform.on_removal([this](const std::string &path) { flash_.remove(path); });
  flash_.on_write = [this](const std::string &, uint32_t offset, std::span<const uint8_t> sent) {
    writes_.push_back({offset, {sent.begin(), sent.end()}});
  };
  vesk_file_state.fill(1);
}

daemon_in_memory::~daemon_in_memory() {
  platform.on_call = nullptr;
}

void daemon_in_memory::begin(const maybe_image &file, uint64_t allowed_calls) {
  platform.forget();
  writes_.clear();
  flash_.remove(path_);
  if (file) flash_.put(path_, *file);
  flash_.allow(allowed_calls);
}

daemon_step daemon_in_memory::end(const maybe_image &before) {
  daemon_step step;
  if (const image *left = flash_.find(path_)) step.file = *left;
  if (!before && step.file) writes_.insert(writes_.begin(), flash_write{0, {}});
  step.writes = std::move(writes_);
  step.ended = !flash_.overspent() && flash_.open_files().empty();
  for (const log_line &line : platform.history) step.lines.push_back(line.text);
  return step;
}

daemon_step daemon_in_memory::start(const maybe_image &file) {
  begin(file, allowance_of_start(capacity_));
  vesk_file_sanity.fill(0);
  vesk_validate_files();
  return end(file);
}

daemon_step daemon_in_memory::log(const maybe_image &file, const record_fields &fields) {
  begin(file, allowance_of_request(capacity_));
  const int32_t result = vesk_do_vesk(record(fields));
  daemon_step step = end(file);
  step.served = result == 0;
  return step;
}

}  // namespace vesk::test
