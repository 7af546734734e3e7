// What a flash has to do to the calls that reach it, in memory that the test and every process
// of the flash share: what the test writes holds from the next call on, also after a remount.
#pragma once

#include <sys/types.h>

#include <array>
#include <atomic>
#include <cstdint>

namespace vesk::test {

// Calls on files; those on the directory itself always succeed.
enum class flash_call : uint8_t { status, open, read, write, remove };
inline constexpr size_t flash_calls = 5;

// What happens to the calls of one kind: the first `skip` pass, the next `times` are hit.
struct flash_rule {
  std::atomic<uint32_t> skip;
  std::atomic<uint32_t> times;
  std::atomic<int32_t> error;  // what a call that is hit fails with; 0: it succeeds
  std::atomic<uint32_t> keep;  // of a write that fails: the bytes that reach the chip all the same
  std::atomic<uint32_t>
      stay_ms;  // how long the answer takes, counted from when the chip is as it will be
  std::atomic<uint32_t> hits;  // since the rule was made
};

inline constexpr uint64_t endless = UINT64_MAX;

struct flash_plan {
  std::atomic<pid_t> owner;            // the test; a flash process ends when it does
  std::atomic<bool> hold;              // the mount program waits before it mounts
  std::atomic<uint32_t> mounts_begun;  // how often the mount program was started
  std::atomic<uint64_t> capacity;      // of all files together, in bytes
  std::atomic<uint32_t> calls;         // that were made on files
  std::array<flash_rule, flash_calls> rules;

  flash_rule &rule(flash_call call) { return rules[static_cast<size_t>(call)]; }
};

// Where the flash keeps its files, and the plan.
inline constexpr char chip[] = "/tmp/flash/chip";
inline constexpr char plan_path[] = "/tmp/flash/plan";

// The plan in its file, for as long as the process lives; null with errno when there is none. A new
// one lets every call pass.
flash_plan *new_plan();
flash_plan *existing_plan();

}  // namespace vesk::test
