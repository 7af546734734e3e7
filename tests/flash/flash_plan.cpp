#include "tests/flash/flash_plan.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <new>

#include "base/vesk_fd.h"

namespace vesk::test {

namespace {

static_assert(std::atomic<uint64_t>::is_always_lock_free, "a lock would be in one process only");

void *map(int flags) {
  const unique_fd file(open(plan_path, O_RDWR | O_CLOEXEC | flags, 0600));
  if (!file || ftruncate(file.get(), sizeof(flash_plan)) != 0) return nullptr;
  void *memory =
      mmap(nullptr, sizeof(flash_plan), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
  return memory == MAP_FAILED ? nullptr : memory;
}

}  // namespace

flash_plan *new_plan() {
  void *memory = map(O_CREAT | O_TRUNC);
  if (memory == nullptr) return nullptr;
  auto *plan = new (memory) flash_plan{};
  plan->owner = getpid();
  plan->capacity = endless;
  return plan;
}

flash_plan *existing_plan() {
  return static_cast<flash_plan *>(map(0));
}

}  // namespace vesk::test
