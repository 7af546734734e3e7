#include "tests/faults/scene.h"

#include <algorithm>
#include <cerrno>
#include <span>
#include <string_view>

#include "daemon/vesk_dispatch.h"
#include "daemon/vesk_mount_check.h"
#include "daemon/vesk_send.h"
#include "store/vesk_append.h"
#include "store/vesk_state.h"
#include "tests/faults/event_text.h"
#include "tests/support/intercept.h"
#include "tests/support/recorder.h"
#include "tests/support/stray_write.h"

extern "C" int32_t __real_vesk_append(int32_t fd, const vesk_log_req *record, uint32_t file_size,
                                      uint32_t max_size, uint32_t *error_code);

namespace vesk::test {

namespace {

constexpr uint32_t log_opcode = 1151;
constexpr char traces[] = "100 ", errors[] = "101 ";

}  // namespace

scene::scene() {
  restart_process();
  put(marker, {});
  on_write = [this](const std::string &path, uint32_t offset, std::span<const uint8_t> written) {
    look_at_write(path, offset, written);
  };
}

scene::~scene() {
  platform.reset();
  append_instead = nullptr;
}

void scene::restart_process() {
  platform.reset();
  prepare_platform();
  vesk_file_state.fill(1);
  mount_check_pending = 0;
  ipq_q = 7;
  close_all();
}

// errno is spoiled wherever the platform may spoil it.
void scene::prepare_platform() {
  platform.clobber_errno = 4242;
  platform.printed.clear();
  platform.suppressed = {100};
  platform.on_call = [this](const std::string &call) { platform_called(call); };
  append_instead = [this](int32_t fd, const vesk_log_req *record, uint32_t file_size,
                          uint32_t max_size, uint32_t *error_code) {
    const int32_t result = __real_vesk_append(fd, record, file_size, max_size, error_code);
    code_ = *error_code;
    return result;
  };
}

void scene::mount() {
  put(marker, {});
  mounting_ = false;
  spoiled_.clear();
}

void scene::watch_capacity(const std::string &path, uint32_t capacity) {
  const image *found = find(path);
  watched_[path] = {capacity, found == nullptr ? image() : *found};
}

void scene::begin(uint64_t allowed_calls) {
  counts_.clear();
  made_.clear();
  broken_.clear();
  request_.reset();
  code_.reset();
  platform.forget();
  allow(allowed_calls);
}

std::vector<std::string> scene::events() const {
  std::vector<std::string> found;
  for (const std::string &event : platform.journal) {
    if (event.empty() || event.starts_with(traces)) continue;
    found.push_back(event.starts_with(errors) ? "! " + event.substr(sizeof errors - 1) : event);
  }
  return found;
}

int32_t scene::serve(uint32_t opcode, const std::vector<uint8_t> &payload) {
  platform.receive(opcode, payload);
  const int32_t result = vesk_dispatch_msg();
  platform.waiting.clear();
  platform.messages.clear();
  return result;
}

int32_t scene::serve(const record_fields &fields) {
  request_ = fields;
  return serve(log_opcode, record(fields).bytes());
}

std::optional<failure> scene::next(const std::string &kind, size_t size, const std::string &text) {
  made_.push_back({kind, size, text});
  const uint32_t number = ++counts_[kind];
  if (!fault_ || fault_->kind != kind || number < fault_->number) return {};
  if (number > fault_->number && fault_->lasts == lasting::once) return {};
  return fault_->what;
}

std::optional<failure> scene::next_on_flash(const std::string &kind, size_t size,
                                            const std::string &text) {
  platform.journal.push_back(text);
  return next(kind, size, text);
}

// A call that is made to fail is one of those allowed all the same: there is no descriptor -1.
int64_t scene::refuse(const failure &failure) {
  ram_flash::seek(-1, 0);
  errno = failure.error;
  return failure.result;
}

int32_t scene::open(const char *path, int flags) {
  constexpr char digits[] = "0123456789abcdef";
  std::string hex;
  for (int left = flags; left != 0; left /= 16) hex.insert(hex.begin(), digits[left % 16]);
  const auto failed = next_on_flash("open", 0, std::string("open ") + path + " " + hex);
  return failed ? static_cast<int32_t>(refuse(*failed)) : ram_flash::open(path, flags);
}

int32_t scene::size(const char *path, uint32_t *count) {
  const auto failed = next_on_flash("stat", 0, std::string("stat ") + path);
  if (failed) return static_cast<int32_t>(refuse(*failed));
  if (path == spoiled_) return static_cast<int32_t>(refuse({-1, EIO}));
  return ram_flash::size(path, count);
}

int64_t scene::seek(int32_t fd, int64_t offset) {
  const auto failed = next_on_flash("lseek", 0, "lseek " + std::to_string(offset));
  if (failed) return refuse(*failed);
  const int64_t result = ram_flash::seek(fd, offset);
  if (result >= 0) positions_[fd] = static_cast<uint32_t>(result);
  return result;
}

int64_t scene::read(int32_t fd, void *buf, size_t count) {
  const auto failed = next_on_flash("read", count, "read " + std::to_string(count));
  if (failed && failed->result < 0) return refuse(*failed);
  const size_t most = failed ? static_cast<size_t>(failed->result) : count;
  const int64_t result = ram_flash::read(fd, buf, most);
  if (result > 0) positions_[fd] += static_cast<uint32_t>(result);
  if (failed) errno = failed->error;
  return result;
}

int64_t scene::write(int32_t fd, const void *buf, size_t count) {
  const std::span wanted(static_cast<const uint8_t *>(buf), count);
  const auto failed = next_on_flash("write", count, text_of_write(positions_[fd], wanted));
  if (failed && failed->result < 0) return refuse(*failed);
  const size_t most = failed ? static_cast<size_t>(failed->result) : count;
  const int64_t result = ram_flash::write(fd, buf, most);
  if (result > 0) positions_[fd] += static_cast<uint32_t>(result);
  if (failed) errno = failed->error;
  return result;
}

int32_t scene::close(int32_t fd) {
  const auto failed = next_on_flash("close", 0, "close");
  const int32_t result = ram_flash::close(fd);
  return failed ? static_cast<int32_t>(refuse(*failed)) : result;
}

int32_t scene::clock(timeval *now) {
  const auto failed = next_on_flash("gettimeofday", 0, "gettimeofday");
  return failed ? static_cast<int32_t>(refuse(*failed)) : ram_flash::clock(now);
}

void scene::look_at_write(const std::string &path, uint32_t offset,
                          std::span<const uint8_t> written) {
  const auto found = watched_.find(path);
  if (found == watched_.end() || offset + written.size() <= found->second.capacity) return;
  const stray_write stray{
      .capacity = found->second.capacity,
      .offset = offset,
      .bytes = written,
      .before = found->second.before,
      .now = *find(path),
      .request = request_ ? &*request_ : nullptr,
      .last_line = platform.history.empty() ? "" : platform.history.back().text};
  if (excuse(stray) != nullptr) return;
  broken_.push_back(std::to_string(written.size()) + " bytes written at " + std::to_string(offset) +
                    ", beyond the capacity of " + path);
}

void scene::platform_called(const std::string &call) {
  const std::string kind = call.substr(0, call.find('('));
  const std::string text =
      text_of_platform_call(call, platform.sent.empty() ? nullptr : &platform.sent.back());
  platform.journal.back() = text;
  if (text.empty()) return;
  if (const auto failed = next(kind, 0, text)) {
    platform.next(kind, failed->result, failed->error);
  } else {
    take_effect(text);
  }
}

void scene::take_effect(const std::string &text) {
  for (const std::string_view removal : {"start rm ", "run rm "}) {
    if (text.starts_with(removal)) remove(std::string_view(text).substr(removal.size()));
  }
  if (text == "start /vamo/bin/kytemount") mounting_ = true;
}

}  // namespace vesk::test
