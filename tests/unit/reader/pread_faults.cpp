#include "tests/unit/reader/pread_faults.h"

#include <algorithm>
#include <cerrno>

namespace vesk::test {

pread_faults faulty_pread;

}  // namespace vesk::test

extern "C" {

ssize_t __real_pread(int fd, void *buffer, size_t length, off_t offset);

// The linker leads the calls of pread here.
ssize_t __wrap_pread(int fd, void *buffer, size_t length, off_t offset) {
  auto &faults = vesk::test::faulty_pread;
  const bool bad = faults.bad_from <= offset && offset < faults.bad_to;
  if (bad || (faults.error != 0 && faults.errors != 0)) {
    errno = bad ? EIO : faults.error;
    --faults.errors;
    return -1;
  }
  if (offset < faults.bad_from) {
    length = std::min(length, static_cast<size_t>(faults.bad_from - offset));
  }
  const ssize_t got = __real_pread(fd, buffer, length, offset);
  ++faults.calls;
  if (faults.after) faults.after(faults.calls);
  return got;
}

}  // extern "C"
