// Faults under the system calls, and a journal of those calls.
//
// Every test program is linked so that its calls of open, stat, lseek, read, write, close and
// gettimeofday come here first (see the link options in CMakeLists.txt). They go straight on to the
// system, except while a fault_plan lives: then they are counted, written down and, where the plan
// says so, made to fail. Calls on the standard streams are never touched, and neither is anything
// that the C and C++ libraries do inside themselves.
#pragma once

#include <sys/time.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vesk::test {

enum class call : uint8_t { open, stat, lseek, read, write, close, gettimeofday };

// Which calls of one kind: the n-th alone, or all from the n-th on. The first is 1.
struct which {
  uint32_t first;
  uint32_t last;
};
constexpr which nth(uint32_t n) {
  return {n, n};
}
constexpr which from(uint32_t n) {
  return {n, UINT32_MAX};
}

// The call is not made and gives this result.
struct returns {
  int64_t result;
};

// The call is made, but with no more than this many bytes.
struct only {
  size_t bytes;
};

// The errno that the call leaves. Without one, it stays what it was before the call.
struct with {
  int error;
};

class fault_plan {
 public:
  fault_plan();
  ~fault_plan();
  fault_plan(const fault_plan &) = delete;
  fault_plan &operator=(const fault_plan &) = delete;

  fault_plan &fail(call name, which calls, returns result, std::optional<with> error = {});
  fault_plan &shorten(call name, which calls, only count, std::optional<with> error = {});

  // From now on it is always this time.
  fault_plan &clock(int64_t secs, int64_t usecs);

  uint32_t count(call name) const { return counts_[static_cast<size_t>(name)]; }

  // The calls in order, each with what tells it from others: "lseek 20, read 20, stat /mnt/vesk/".
  const std::string &journal() const { return journal_; }

  // For the intercepted calls themselves.
  struct fault {
    call name;
    which calls;
    std::optional<int64_t> result;
    size_t count;
    std::optional<with> error;
  };
  const fault *next(call name, const std::string &detail);
  const std::optional<timeval> &now() const { return now_; }

 private:
  std::vector<fault> faults_;
  std::array<uint32_t, 7> counts_{};
  std::string journal_;
  std::optional<timeval> now_;
};

}  // namespace vesk::test
