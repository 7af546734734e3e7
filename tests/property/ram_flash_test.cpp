// The flash in memory against files of the system: the same cases, the same work, the same result.
#include <gtest/gtest.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <string_view>

#include "daemon/vesk_request.h"
#include "recovery/vesk_recover.h"
#include "recovery/vesk_validate.h"
#include "store/vesk_state.h"
#include "tests/support/files.h"
#include "tests/support/random_trial.h"
#include "tests/support/recorder.h"
#include "tests/support/trial.h"

namespace vesk::test {
namespace {

struct work_done {
  int32_t result;  // of logging the record
  log_lines logged;
  std::optional<image> file;
};

work_done work_on(const trial &t) {
  vesk_file_state.fill(1);
  vesk_validate_files();
  vesk_file_sanity[t.file_type] = t.first_step == opening::sweep_2 ? 2 : 3;
  vesk_recover_corrupted_files();
  const int32_t result = vesk_do_vesk(record(t.first));
  return {result, platform.history, std::nullopt};
}

work_done in_memory(const trial &t) {
  ram_flash flash;
  flash.put(path_of(t.file_type), t.file);
  platform.reset();
  platform.on_removal([&](const std::string &path) { flash.remove(path); });
  work_done done = work_on(t);
  platform.on_call = nullptr;
  if (const image *file = flash.find(path_of(t.file_type))) done.file = *file;
  return done;
}

work_done on_disk(const trial &t) {
  const std::string path = path_of(t.file_type);
  write_file(path, t.file);
  platform.reset();
  platform.remove_for_real();
  work_done done = work_on(t);
  if (exists(path)) done.file = read_file(path);
  unlink(path.c_str());
  return done;
}

TEST(RamFlash, is_like_files_of_the_system) {
  for (uint64_t seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE("VESK_SEED=" + std::to_string(seed));
    const trial t = random_trial(seed);
    if (t.file_type != 7) continue;  // a kernel log stays open, on purpose
    const work_done memory = in_memory(t);
    const work_done disk = on_disk(t);
    EXPECT_EQ(memory.result, disk.result);
    EXPECT_EQ(memory.logged, disk.logged);
    EXPECT_EQ(memory.file, disk.file);
  }
}

}  // namespace
}  // namespace vesk::test
