// Each problem once: a file that has it, and what becomes of that. And what a forecast does where
// it cannot have a copy of the file in memory.
#include "recovery/vesk_problem.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <set>
#include <string>
#include <vector>

#include "tests/support/faults.h"
#include "tests/unit/forecast/predicted.h"

namespace vesk::test {
namespace {

using namespace std::string_literals;

const std::string three = alpha() + beta() + gamma_ray();  // 20, 48, 72, up to 104

std::string with_broken_byte(std::string file, size_t offset) {
  file[offset] ^= 0x40;
  return file;
}

struct sample {
  problem what;
  file_fate fate;
  uint32_t offset;
  uint32_t number = 0;
  uint32_t file_type = small_log;
  std::string file;
};

// What start-up finds when it examines a file.
const std::vector<sample> objections = {
    {.what = problem::none, .fate = file_fate::keep, .offset = 0, .file = file_of(three)},
    {.what = problem::file_too_small,
     .fate = file_fate::remove,
     .offset = 19,
     .file = gheader(8192, 20, 20).substr(0, 19)},
    {.what = problem::unknown_version, .fate = file_fate::remove, .offset = 4, .file = stale(40)},
    {.what = problem::bad_magic,
     .fate = file_fate::remove,
     .offset = 0,
     .file = "disk"s + file_of(three).substr(4)},
    {.what = problem::bad_gheader_sum,
     .fate = file_fate::remove,
     .offset = 6,
     .file = gheader(8192, 20, 104, 0x1234) + three},
    {.what = problem::wrong_capacity,
     .fate = file_fate::remove,
     .offset = 8,
     .file = gheader(8188, 9000, 9000) + three},
    {.what = problem::end_beyond_capacity,
     .fate = file_fate::remove,
     .offset = 16,
     .file = gheader(8192, 8180, 8193) + three},
    {.what = problem::start_without_room,
     .fate = file_fate::rebuild,
     .offset = 12,
     .file = full_ring(8172, 20)},
    {.what = problem::file_ends_before_start,
     .fate = file_fate::remove,
     .offset = 80,
     .file = gheader(8192, 104, 104) + three.substr(0, 60)},
    {.what = problem::file_ends_before_end,
     .fate = file_fate::remove,
     .offset = 103,
     .file = file_of(three).substr(0, 103)},
    {.what = problem::wrapped_file_not_full,
     .fate = file_fate::remove,
     .offset = 8191,
     .file = full_ring(260, 116).substr(0, 8191)},
    {.what = problem::start_meets_end,
     .fate = file_fate::rebuild,
     .offset = 12,
     .file = gheader(8192, 104, 104) + three},
    {.what = problem::bad_entry_sum,
     .fate = file_fate::rebuild,
     .offset = 72,
     .file = with_broken_byte(file_of(three), 80)},
    {.what = problem::entry_unreadable,
     .fate = file_fate::rebuild,
     .offset = 440,
     .file = gheader(8192, 20, 104) + entry({.size = 400}, stale(64))},
    // A start within the global header, where the bytes happen to make a header of no data.
    {.what = problem::first_slot_unreadable,
     .fate = file_fate::remove,
     .offset = 20,
     .file = gheader(8192, 4, 24) + "vesk"},
    {.what = problem::end_without_room,
     .fate = file_fate::rebuild,
     .offset = 16,
     .file = full_ring(260, 36)},
    {.what = problem::no_last_entry,
     .fate = file_fate::rebuild,
     .offset = 30,
     .number = 22,
     .file = full_ring(260, 50)},
};

// What a repair fails at.
const std::vector<sample> failures = {
    {.what = problem::gap_without_room,
     .fate = file_fate::remove,
     .offset = 48,
     .number = 20,
     .file = marked(item(20) + stale(20) + item(8))},
    {.what = problem::tail_without_room,
     .fate = file_fate::remove,
     .offset = 8172,
     .file = marked(item(20) + entry({.prev_size = 8}, std::string(8104, 'x')) + stale(20))},
    {.what = problem::entry_beyond_capacity,
     .fate = file_fate::remove,
     .offset = 48,
     .number = 8196,
     .file = marked(item(20) + entry({.size = 8128, .prev_size = 8}, ""))},
    {.what = problem::no_entry_in_damage,
     .fate = file_fate::remove,
     .offset = 20,
     .number = 8192,
     .file_type = larger_log,
     .file = gheader(131072, 24, 24) + stale(9000)},
    {.what = problem::no_entry_in_file,
     .fate = file_fate::remove,
     .offset = 68,
     .file = marked(stale(64))},
    {.what = problem::no_entries,
     .fate = file_fate::remove,
     .offset = 20,
     .file = marked(entry({.type = 0}, "null"))},
    {.what = problem::chain_broken,
     .fate = file_fate::remove,
     .offset = 76,
     .number = 76,
     .file = full(item(20, noon + 5) + item(8, noon) + item(0, noon + 1))},
};

// What the file itself is not to blame for, so that nothing is predicted.
const std::set<problem> faults_of_the_copy = {problem::gheader_unreadable,
                                              problem::null_entry_not_written};

TEST(EachProblem, costs_the_file_or_has_it_repaired) {
  for (const sample &one : objections) {
    SCOPED_TRACE(fate_of(one.file_type, one.file));
    const file_forecast all = predicted(one.file_type, one.file);
    EXPECT_EQ(all.objection, (finding{one.what, one.offset, one.number}));
    EXPECT_EQ(all.fate, one.fate);
  }
}

TEST(EachProblem, of_a_repair_costs_the_file) {
  for (const sample &one : failures) {
    SCOPED_TRACE(fate_of(one.file_type, one.file));
    const file_forecast all = predicted(one.file_type, one.file);
    EXPECT_EQ(all.repair_failure, (finding{one.what, one.offset, one.number}));
    EXPECT_EQ(all.fate, one.fate);
    EXPECT_TRUE(all.rebuilt.empty());
  }
}

TEST(EachProblem, is_here) {
  std::set<problem> here = faults_of_the_copy;
  for (const sample &one : objections) here.insert(one.what);
  for (const sample &one : failures) here.insert(one.what);
  for (size_t i = 0; i < problem_count; ++i) {
    EXPECT_TRUE(here.contains(static_cast<problem>(i))) << i;
  }
}

// --- a copy that fails ---

std::string failure_of(uint32_t file_type, const std::string &file) {
  file_forecast all;
  return forecast(file_type, {reinterpret_cast<const uint8_t *>(file.data()), file.size()}, false,
                  all)
      .reason;
}

TEST(Copy, that_cannot_be_read_is_a_failure) {
  fault_plan faults;
  faults.fail(call::lseek, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(failure_of(small_log, file_of(three)),
            "cannot copy it into memory: Input/output error");
}

TEST(Copy, to_which_a_repair_cannot_write_is_a_failure) {
  const std::string file = file_of(item(20) + stale(24) + item(8));
  fault_plan faults;
  faults.fail(call::write, from(2), returns{-1}, with{ENOSPC});  // the first one fills it
  EXPECT_EQ(failure_of(small_log, file), "cannot copy it into memory: No space left on device");
}

// A limit of this process while it lives.
class limited {
 public:
  limited(__rlimit_resource what, rlim_t soft) : what_(what) {
    getrlimit(what_, &before_);
    const rlimit now{soft, before_.rlim_max};
    setrlimit(what_, &now);
  }
  limited(const limited &) = delete;
  limited &operator=(const limited &) = delete;
  ~limited() { setrlimit(what_, &before_); }

 private:
  __rlimit_resource what_;
  rlimit before_{};
};

TEST(Copy, for_which_there_is_no_descriptor_is_a_failure) {
  const limited none(RLIMIT_NOFILE, 3);
  EXPECT_EQ(failure_of(small_log, file_of(three)),
            "cannot copy it into memory: Too many open files");
}

TEST(Copy, does_not_count_as_a_file_that_is_too_long) {
  const limited short_files(RLIMIT_FSIZE, 100);
  EXPECT_EQ(fate_of(small_log, file_of(item(20) + stale(24) + item(8))),
            "rebuild: bad_entry_sum at 48");
  rlimit after{};
  getrlimit(RLIMIT_FSIZE, &after);
  EXPECT_EQ(after.rlim_cur, 100u);
}

TEST(Copy, that_a_hard_limit_forbids_is_a_failure_and_no_signal) {
  const pid_t child = fork();
  if (child == 0) {
    const rlimit shortest{100, 8194};
    setrlimit(RLIMIT_FSIZE, &shortest);
    const std::string reason = failure_of(small_log, file_of(three));
    _exit(reason == "cannot copy it into memory: File too large" ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST(Copy, leaves_errno_alone) {
  errno = EIO;
  EXPECT_EQ(fate_of(small_log, full_ring(260, 4)), "rebuild: end_without_room at 16");
  EXPECT_EQ(errno, EIO);
}

}  // namespace
}  // namespace vesk::test
