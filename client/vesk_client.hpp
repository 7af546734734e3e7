// The sender's library from C++20: a handle that closes itself, over the functions of
// vesk_client.h, which say more about each call. Nothing here throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include "vesk_client.h"

namespace vesk {

// A record without its data; the fields are those of vesk_client_record.
struct record_head {
  uint32_t file_type = 0;
  uint32_t uuid = 0;
  uint32_t type = 0;
  uint8_t flags = 0;
  uint8_t sync = VESK_CLIENT_SYNC_NONE;
  bool allow_large = false;
  uint32_t secs = 0;  // time stamp; when both words are 0, the time of the call
  uint32_t usecs = 0;
};

// One handle. Every call on a log_client that is not open ends with VESK_CLIENT_BAD_ARGUMENT.
class log_client {
 public:
  using bytes = std::span<const std::byte>;

  log_client() noexcept = default;
  log_client(log_client &&other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  log_client &operator=(log_client &&other) noexcept {
    log_client taken(std::move(other));
    std::swap(handle_, taken.handle_);
    return *this;
  }
  ~log_client() { close(); }

  // Closes the handle that is open, if any, whatever comes of it.
  vesk_client_code open(uint32_t timeout_ms, const char *run_dir = nullptr) noexcept {
    close();
    return vesk_client_open(&handle_, run_dir, timeout_ms);
  }
  void close() noexcept { vesk_client_close(std::exchange(handle_, nullptr)); }
  bool is_open() const noexcept { return handle_ != nullptr; }

  // For calls of vesk_client.h; null when not open.
  vesk_client *get() const noexcept { return handle_; }

  // The path of the daemon's socket; empty when not open.
  const char *address() const noexcept { return vesk_client_address(handle_); }

  vesk_client_code log(const record_head &head, bytes data) noexcept {
    const vesk_client_record record = whole(head, data);
    return vesk_client_log(handle_, &record);
  }
  vesk_client_code log(const record_head &head, std::string_view text) noexcept {
    return log(head, as_bytes(text));
  }

  // Replaces the `instance`-th entry with the record's uuid and type, for 0 the last.
  vesk_client_code update(const record_head &head, bytes data, uint32_t instance = 0) noexcept {
    const vesk_client_record record = whole(head, data);
    return vesk_client_update(handle_, &record, instance);
  }
  vesk_client_code update(const record_head &head, std::string_view text,
                          uint32_t instance = 0) noexcept {
    return update(head, as_bytes(text), instance);
  }

  vesk_client_code send(uint32_t opcode, bytes payload = {}) noexcept {
    return vesk_client_send(handle_, opcode, payload.data(), payload.size());
  }
  vesk_client_code confirm(uint32_t opcode, bytes payload = {}) noexcept {
    return vesk_client_confirm(handle_, opcode, payload.data(), payload.size());
  }

  // The answer is put into `room`, and `answer` is set to the part that it takes, only for OK.
  vesk_client_code request(uint32_t opcode, bytes payload, std::span<std::byte> room,
                           std::span<std::byte> &answer) noexcept {
    size_t length = 0;
    const vesk_client_code code = vesk_client_request(
        handle_, opcode, payload.data(), payload.size(), room.data(), room.size(), &length);
    if (code == VESK_CLIENT_OK) answer = room.first(length);
    return code;
  }

  using statistics_rows = std::span<vesk_client_sender_statistics, VESK_CLIENT_STATISTICS_ROWS>;
  vesk_client_code statistics(statistics_rows rows) noexcept {
    return vesk_client_statistics(handle_, rows.data());
  }

 private:
  static bytes as_bytes(std::string_view text) noexcept {
    return std::as_bytes(std::span<const char>(text));
  }

  static vesk_client_record whole(const record_head &head, bytes data) noexcept {
    vesk_client_record record{};
    record.file_type = head.file_type;
    record.uuid = head.uuid;
    record.type = head.type;
    record.flags = head.flags;
    record.sync = head.sync;
    record.allow_large = head.allow_large ? 1 : 0;
    record.secs = head.secs;
    record.usecs = head.usecs;
    record.data = data.data();
    record.length = data.size();
    return record;
  }

  vesk_client *handle_ = nullptr;
};

}  // namespace vesk
