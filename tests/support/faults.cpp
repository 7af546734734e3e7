#include "tests/support/faults.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <stdexcept>

#include "tests/support/real_calls.h"

namespace vesk::test {

namespace {

fault_plan *active;

const char *const names[] = {"open", "stat", "lseek", "read", "write", "close", "gettimeofday"};

// What an intercepted call has to do. Looking it up leaves errno alone, as a call that succeeds
// does.
struct planned {
  const fault_plan::fault *fault = nullptr;

  planned(call name, const std::string &detail) {
    if (!active) return;
    const int saved = errno;
    fault = active->next(name, detail);
    errno = saved;
  }

  bool instead() const { return fault && fault->result; }
  size_t limit(size_t count) const { return fault ? std::min(count, fault->count) : count; }

  template <typename Result>
  Result done(Result result) const {
    if (fault && fault->error) errno = fault->error->error;
    return result;
  }
  template <typename Result>
  Result told() const {
    return done(static_cast<Result>(*fault->result));
  }
};

bool under_test(int fd) {
  return active && (fd < 0 || fd > STDERR_FILENO);
}

}  // namespace

fault_plan::fault_plan() {
  if (active) throw std::logic_error("one fault plan at a time");
  active = this;
}

fault_plan::~fault_plan() {
  active = nullptr;
}

fault_plan &fault_plan::fail(call name, which calls, returns result, std::optional<with> error) {
  faults_.push_back({name, calls, result.result, 0, error});
  return *this;
}

fault_plan &fault_plan::shorten(call name, which calls, only count, std::optional<with> error) {
  faults_.push_back({name, calls, std::nullopt, count.bytes, error});
  return *this;
}

fault_plan &fault_plan::clock(int64_t secs, int64_t usecs) {
  now_ = timeval{static_cast<time_t>(secs), static_cast<suseconds_t>(usecs)};
  return *this;
}

const fault_plan::fault *fault_plan::next(call name, const std::string &detail) {
  const size_t index = static_cast<size_t>(name);
  const uint32_t number = ++counts_[index];
  journal_ += (journal_.empty() ? "" : ", ") + std::string(names[index]);
  if (!detail.empty()) journal_ += " " + detail;
  const auto found = std::find_if(faults_.begin(), faults_.end(), [&](const fault &f) {
    return f.name == name && f.calls.first <= number && number <= f.calls.last;
  });
  return found == faults_.end() ? nullptr : &*found;
}

}  // namespace vesk::test

using vesk::test::call;
using vesk::test::planned;
using vesk::test::under_test;

extern "C" {

int __wrap_open(const char *path, int flags, ...) {
  std::va_list args;
  va_start(args, flags);
  const mode_t mode = flags & O_CREAT ? va_arg(args, mode_t) : 0;
  va_end(args);
  const planned v(call::open, path);
  return v.instead() ? v.told<int>() : v.done(__real_open(path, flags, mode));
}

int __wrap_stat(const char *path, struct stat *st) {
  const planned v(call::stat, path);
  return v.instead() ? v.told<int>() : v.done(__real_stat(path, st));
}

off_t __wrap_lseek(int fd, off_t offset, int whence) {
  if (!under_test(fd)) return __real_lseek(fd, offset, whence);
  const planned v(call::lseek, std::to_string(offset));
  return v.instead() ? v.told<off_t>() : v.done(__real_lseek(fd, offset, whence));
}

ssize_t __wrap_read(int fd, void *buf, size_t count) {
  if (!under_test(fd)) return __real_read(fd, buf, count);
  const planned v(call::read, std::to_string(count));
  return v.instead() ? v.told<ssize_t>() : v.done(__real_read(fd, buf, v.limit(count)));
}

ssize_t __wrap_write(int fd, const void *buf, size_t count) {
  if (!under_test(fd)) return __real_write(fd, buf, count);
  const planned v(call::write, std::to_string(count));
  return v.instead() ? v.told<ssize_t>() : v.done(__real_write(fd, buf, v.limit(count)));
}

int __wrap_close(int fd) {
  if (!under_test(fd)) return __real_close(fd);
  const planned v(call::close, {});
  return v.instead() ? v.told<int>() : v.done(__real_close(fd));
}

int __wrap_gettimeofday(timeval *tv, void *zone) {
  const planned v(call::gettimeofday, {});
  if (v.instead()) return v.told<int>();
  if (vesk::test::active && vesk::test::active->now()) {
    *tv = *vesk::test::active->now();
    return v.done(0);
  }
  return v.done(__real_gettimeofday(tv, zone));
}

}  // extern "C"
