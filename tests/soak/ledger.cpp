#include "tests/soak/ledger.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace vesk::soak {

ledger::ledger(uint64_t seed, uint32_t senders, uint32_t records)
    : seed_(seed),
      senders_(senders),
      records_(records),
      size_(8 * sizeof(std::atomic<uint64_t>) + sizeof(sent_record) * senders * records),
      memory_(mmap(nullptr, size_, PROT_READ | PROT_WRITE,
                   MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {
  if (memory_ == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
}

ledger::~ledger() {
  munmap(memory_, size_);
}

// Records are begun one after the other.
uint32_t ledger::begun(uint32_t sender) const {
  const sent_record *first = &at(sender, 0);
  const sent_record *last = first + records_;
  return static_cast<uint32_t>(
      std::partition_point(first, last,
                           [](const sent_record &r) { return r.what.load() != standing::none; }) -
      first);
}

uint64_t ledger::begun() const {
  uint64_t sum = 0;
  for (uint32_t sender = 0; sender < senders_; ++sender) sum += begun(sender);
  return sum;
}

}  // namespace vesk::soak
