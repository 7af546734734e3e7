// The test's side of the flash: mounts it, and tells it how to misbehave.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "tests/flash/flash_plan.h"
#include "tests/support/program.h"

namespace vesk::test {

inline constexpr uint32_t always = UINT32_MAX;

// What is to happen to the calls of one kind.
struct fault {
  flash_call call;
  int32_t error = 0;   // what they fail with; 0: they succeed
  uint32_t skip = 0;   // how many pass before
  uint32_t times = 1;  // how many are hit
  uint32_t keep = 0;   // of a write that fails, the bytes that reach the chip all the same
  std::chrono::milliseconds stay{0};  // how long the answer takes
};

class broken_flash {
 public:
  ~broken_flash();

  // Mounts an empty flash that does everything right. Where nothing can be mounted the test is
  // skipped; it fails when anything else goes wrong.
  void mount_new();
  void unmount();

  // Replaces what was said before about calls of this kind.
  void will(const fault &next);
  uint32_t hits(flash_call call) const { return plan_->rule(call).hits; }
  uint32_t calls() const { return plan_->calls; }

  // From now on its files can grow by this many bytes in all.
  void leave_room(uint64_t bytes);

  // The kernel refuses every change until the next mount, as where a file system has found an error
  // in itself.
  bool turn_read_only();

  // From now on it does everything right again; an answer that waits is given at once.
  void heal();

  // The mount program waits before it mounts, until it is let go and its marker is there.
  void hold_mount_program() { plan_->hold = true; }
  bool let_mount_program_go();
  uint32_t mounts_begun() const { return plan_->mounts_begun; }

  // What is on the chip, mounted or not.
  std::string on_chip(const std::string &name) const;
  bool has(const std::string &name) const;

 private:
  flash_plan *plan_ = nullptr;
  std::optional<program> process_;
};

}  // namespace vesk::test
