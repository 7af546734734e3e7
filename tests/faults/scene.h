// The daemon on a flash in memory of which one call fails, and all that it was seen to do.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tests/faults/failure.h"
#include "tests/support/ram_flash.h"
#include "tests/support/record.h"

namespace vesk::test {

inline const std::string marker = "/kyte_mounted";

// Which call fails: the n-th of its kind, counted from 1.
struct fault {
  std::string kind;
  uint32_t number;
  lasting lasts;
  failure what;
};

struct made_call {
  std::string kind;  // "lseek", "ipq_send"
  size_t size;       // that a read or a write asked for
  std::string text;  // as among the events
};

// A new process each time, on a mounted flash without a file. One at a time.
//
// Programs that the daemon starts do their work at once, but the mount program, which is done when
// mount() is called. A call that is made to fail has no effect, except that a closed descriptor is
// closed whatever close() says.
class scene final : public ram_flash {
 public:
  scene();
  ~scene() override;

  void break_at(const fault &fault) { fault_ = fault; }
  void heal() { fault_.reset(); }
  // Whether the flash is mounted, or will be as soon as the mount program is done.
  bool has_mount() const { return mounting_ || find(marker) != nullptr; }
  // By the mount program that is under way, or by a person.
  void mount();
  // Another process on the same flash.
  void restart_process();
  // From now on, until the flash is mounted again, the status of this path is an I/O error.
  void spoil_status_of(const std::string &path) { spoiled_ = path; }
  // What is written to the file is to stay within this capacity.
  void watch_capacity(const std::string &path, uint32_t capacity);

  // What the daemon does is seen from here on.
  void begin(uint64_t allowed_calls);
  // Calls and error lines in their order; lines begin with "! ".
  std::vector<std::string> events() const;
  const std::vector<made_call> &calls() const { return made_; }
  // Promises that hold for every call, in words.
  const std::vector<std::string> &broken() const { return broken_; }

  // Sends the daemon a message and lets it take and serve it.
  int32_t serve(uint32_t opcode, const std::vector<uint8_t> &payload);
  int32_t serve(const record_fields &fields);
  // The code that the append left; none when there was no append.
  std::optional<uint32_t> error_code() const { return code_; }

  int32_t open(const char *path, int flags) override;
  int32_t size(const char *path, uint32_t *count) override;
  int64_t seek(int32_t fd, int64_t offset) override;
  int64_t read(int32_t fd, void *buf, size_t count) override;
  int64_t write(int32_t fd, const void *buf, size_t count) override;
  int32_t close(int32_t fd) override;
  int32_t clock(timeval *now) override;

 private:
  struct watched {
    uint32_t capacity;
    image before;
  };

  void prepare_platform();
  void platform_called(const std::string &call);
  void take_effect(const std::string &text);
  // Notes the call, and says how it fails if it does.
  std::optional<failure> next(const std::string &kind, size_t size, const std::string &text);
  std::optional<failure> next_on_flash(const std::string &kind, size_t size,
                                       const std::string &text);
  int64_t refuse(const failure &failure);
  void look_at_write(const std::string &path, uint32_t offset, std::span<const uint8_t> bytes);

  std::optional<fault> fault_;
  std::map<std::string, uint32_t> counts_;
  std::vector<made_call> made_;
  std::map<int32_t, uint32_t> positions_;
  std::map<std::string, watched> watched_;
  std::vector<std::string> broken_;
  std::optional<record_fields> request_;
  std::optional<uint32_t> code_;
  std::string spoiled_;
  bool mounting_ = false;
};

}  // namespace vesk::test
