// What a start makes of a damaged file, and what the next one finds: each with everything that is
// logged, and what is left.
#include <sys/stat.h>
#include <unistd.h>

#include "recovery/vesk_validate.h"
#include "tests/unit/recovery/recovery_test.h"

namespace vesk::test {
namespace {

class DamagedStart : public RecoveryTest {
 protected:
  DamagedStart() { platform.remove_for_real(); }

  // What is logged and called by a first start after a boot.
  static lines start() {
    platform.forget();
    EXPECT_EQ(vesk_validate_files(), 0);
    return journal();
  }
};

const lines sound_and_empty = {
    "100 TRACE:Going to check if file is corruptedFILE.\n",
    "100 TRACE:vesk_check_file_corrupted start 20 end 20 max 8192 \n",
    "100 TRACE:checking  100 entries from start 20\n",
    "101 ERROR: vesk_check_file_corrupted start 20 end 20 max 8192 \n",
    "100 TRACE:File FILE isn't corrupted\n",
};

bool exists(const log_file &file) {
  struct stat st {};
  return stat(file.path().c_str(), &st) == 0;
}

// The usual file: every header has a previous size of zero. The repair writes one into each, and
// none of them holds afterwards: the ring is empty, although all the bytes are still there.
TEST_F(DamagedStart, broken_sum_among_appended_entries_leaves_an_empty_ring) {
  const log_file file = ring(7)
                            .entry(1024, 8)
                            .entry(1025, 8)
                            .entry({.type = 1026, .size = 8, .sum = 0x1234})
                            .entry(1027, 8)
                            .entry(1028, 8)
                            .make();
  EXPECT_EQ(file.picture(), "E1024/8 E1025/8 !E1026/8 E1027/8 E1028/8 start=20 end=160");

  EXPECT_EQ(start(), (lines{"100 TRACE:Going to check if file is corruptedFILE.\n",
                            "100 TRACE:vesk_check_file_corrupted start 20 end 160 max 8192 \n",
                            "100 TRACE:checking  100 entries from start 20\n",
                            "101 ERROR: vesk_check_file_corrupted start 20 end 160 max 8192 \n",
                            "101 ERROR: Bad ehdr at offset at start 76 entry count 2\n",
                            "101 ERROR: File FILE had internal error or is corrupted 2.\n",
                            "runctl_heartbeat(1)",
                            "100 TRACE:Going to recover corrupted file FILE.\n",
                            "100 TRACE:Going to for first pass ghdr recovery FILE.\n",
                            "101 gheader recovery start first phase  20 end 160 max 8192 \n",
                            "101 Updating eheader at 20 with size 20\n",
                            "101 Updating eheader at 48 with size 8\n",
                            "101 ERROR: Bad ehdr at offset 76\n",
                            "101 ERROR: Bad ehdr at offset 80\n",
                            "101 ERROR: Bad ehdr at offset 84\n",
                            "101 ERROR: Bad ehdr at offset 88\n",
                            "101 ERROR: Bad ehdr at offset 92\n",
                            "101 ERROR: Bad ehdr at offset 96\n",
                            "101 ERROR: Bad ehdr at offset 100\n",
                            "101 Adding NULL entry at 76 with size 8 \n",
                            "101 Updating eheader at 104 with size 8\n",
                            "101 Updating eheader at 104 with size 8\n",
                            "101 ERROR: Bad ehdr at offset 104",
                            "101 Updating eheader at 132 with size 8\n",
                            "100 TRACE:Got num entries 4. going for 2nd pass FILE \n",
                            "101 gheader recovery second pass start 20 end 160 max 8192 \n",
                            "100 TRACE: reason 1 entry_count 0 \n",
                            "100 TRACE:New end for file 20\n",
                            "100 TRACE:File FILE ghdr recovery was successful \n",
                            "101 Updating gheader start 20 end 20 max 8192.\n",
                            "runctl_heartbeat(0)"}));
  EXPECT_EQ(file.picture(), "start=20 end=20");
  EXPECT_EQ(contents(file), "!E1024/8 !E1025/8 N/8 !E1027/8 !E1028/8");

  const std::vector<uint8_t> before = file.bytes();
  EXPECT_EQ(start(), sound_and_empty);
  EXPECT_EQ(file.bytes(), before);
}

// With the previous sizes in place only the header behind the null entry is rewritten, and the ring
// ends in front of it.
TEST_F(DamagedStart, twenty_four_bytes_of_damage_end_the_ring_behind_a_null_entry) {
  const log_file file = ring(7)
                            .entry(linked(1024, 40, 20))
                            .damage(24)
                            .entry(linked(1025, 8, 40))
                            .entry(linked(1026, 8, 8))
                            .make();
  EXPECT_EQ(file.picture(), "E1024/40 ~24 E1025/8 E1026/8 start=20 end=160");

  EXPECT_EQ(start(), (lines{"100 TRACE:Going to check if file is corruptedFILE.\n",
                            "100 TRACE:vesk_check_file_corrupted start 20 end 160 max 8192 \n",
                            "100 TRACE:checking  100 entries from start 20\n",
                            "101 ERROR: vesk_check_file_corrupted start 20 end 160 max 8192 \n",
                            "101 ERROR: Bad ehdr at offset at start 80 entry count 1\n",
                            "101 ERROR: File FILE had internal error or is corrupted 2.\n",
                            "runctl_heartbeat(1)",
                            "100 TRACE:Going to recover corrupted file FILE.\n",
                            "100 TRACE:Going to for first pass ghdr recovery FILE.\n",
                            "101 gheader recovery start first phase  20 end 160 max 8192 \n",
                            "101 ERROR: Bad ehdr at offset 80\n",
                            "101 ERROR: Bad ehdr at offset 84\n",
                            "101 ERROR: Bad ehdr at offset 88\n",
                            "101 ERROR: Bad ehdr at offset 92\n",
                            "101 ERROR: Bad ehdr at offset 96\n",
                            "101 ERROR: Bad ehdr at offset 100\n",
                            "101 Adding NULL entry at 80 with size 4 \n",
                            "101 Updating eheader at 104 with size 4\n",
                            "100 TRACE:Got num entries 3. going for 2nd pass FILE \n",
                            "101 gheader recovery second pass start 20 end 160 max 8192 \n",
                            "100 TRACE: reason 1 entry_count 1 \n",
                            "100 TRACE:New end for file 104\n",
                            "100 TRACE:File FILE ghdr recovery was successful \n",
                            "101 Updating gheader start 20 end 104 max 8192.\n",
                            "runctl_heartbeat(0)"}));
  EXPECT_EQ(file.picture(), "E1024/40 N/4 start=20 end=104");
  EXPECT_EQ(contents(file), "E1024/40 N/4 !E1025/8 E1026/8");

  const std::vector<uint8_t> before = file.bytes();
  EXPECT_EQ(start(), (lines{"100 TRACE:Going to check if file is corruptedFILE.\n",
                            "100 TRACE:vesk_check_file_corrupted start 20 end 104 max 8192 \n",
                            "100 TRACE:checking  100 entries from start 20\n",
                            "101 ERROR: vesk_check_file_corrupted start 20 end 104 max 8192 \n",
                            "100 TRACE:checking entry at end 104\n",
                            "100 TRACE:File FILE isn't corrupted\n"}));
  EXPECT_EQ(file.bytes(), before);
}

TEST_F(DamagedStart, eight_bytes_of_damage_cost_the_file) {
  const log_file file = ring(7).entry(1024, 40).damage(8).entry(1025, 8).make();

  EXPECT_EQ(start(),
            (lines{"100 TRACE:Going to check if file is corruptedFILE.\n",
                   "100 TRACE:vesk_check_file_corrupted start 20 end 116 max 8192 \n",
                   "100 TRACE:checking  100 entries from start 20\n",
                   "101 ERROR: vesk_check_file_corrupted start 20 end 116 max 8192 \n",
                   "101 ERROR: Bad ehdr at offset at start 80 entry count 1\n",
                   "101 ERROR: File FILE had internal error or is corrupted 2.\n",
                   "runctl_heartbeat(1)", "100 TRACE:Going to recover corrupted file FILE.\n",
                   "100 TRACE:Going to for first pass ghdr recovery FILE.\n",
                   "101 gheader recovery start first phase  20 end 116 max 8192 \n",
                   "101 Updating eheader at 20 with size 20\n",
                   "101 ERROR: Bad ehdr at offset 80\n", "101 ERROR: Bad ehdr at offset 84\n",
                   "101 ERROR: No space 8 to add header 80 Remove file. \n",
                   "101 ERROR: vesk_ghdr_recovery_first_pass returned error 2for FILE \n",
                   "execute_program_and_let_go(/bin/rm, FILE)",
                   "100 TRACE: result of delete operation for file FILE is 0\n",
                   "101 ERROR: Removing file FILE.\n", "runctl_heartbeat(0)"}));
  EXPECT_FALSE(exists(file));

  EXPECT_EQ(start(), lines());
}

// The validation keeps the file for the sweep, which finds the same header and gives it up.
TEST_F(DamagedStart, torn_global_header_costs_the_file) {
  const log_file file = ring(7).entries(3, 8).patch(18, {0xDA, 0x4A}).make();
  EXPECT_EQ(file.hex(0, 5), "76 65 73 6b  01");

  fault_plan faults;
  faults.shorten(call::read, from(1), only{20}, with{6});
  EXPECT_EQ(start(), (lines{"101 ERROR: ghdr may be corrupt 6\n", "runctl_heartbeat(1)",
                            "101 ERROR: ghdr may be corrupt 6\n",
                            "101 ERROR: could not get gheader entries for FILE\n",
                            "execute_program_and_let_go(/bin/rm, FILE)",
                            "100 TRACE: result of delete operation for file FILE is 0\n",
                            "101 ERROR: Removing file FILE.\n", "runctl_heartbeat(0)"}));
  EXPECT_FALSE(exists(file));

  EXPECT_EQ(start(), lines());
}

// The global header is written last, so that a cut before it leaves the ring as it was; what lies
// behind the end is nobody's.
TEST_F(DamagedStart, append_that_was_cut_is_not_seen) {
  const log_file file = ring(7).entries(2, 8).end_here().entry(1026, 8).make();
  ASSERT_EQ(truncate(file.path().c_str(), 100), 0);
  EXPECT_EQ(file.picture(), "E1024/8 E1025/8 start=20 end=76");

  const lines sound = {"100 TRACE:Going to check if file is corruptedFILE.\n",
                       "100 TRACE:vesk_check_file_corrupted start 20 end 76 max 8192 \n",
                       "100 TRACE:checking  100 entries from start 20\n",
                       "101 ERROR: vesk_check_file_corrupted start 20 end 76 max 8192 \n",
                       "100 TRACE:checking entry at end 76\n",
                       "100 TRACE:File FILE isn't corrupted\n"};
  const std::vector<uint8_t> before = file.bytes();
  EXPECT_EQ(start(), sound);
  EXPECT_EQ(start(), sound);
  EXPECT_EQ(file.bytes(), before);
}

// The oldest entry lies at 8068, behind the youngest. The walk from there closes on itself, and the
// entry in front of it is given up so that the end is not the start.
TEST_F(DamagedStart, broken_sum_in_front_of_the_rings_end_costs_the_last_entry) {
  const log_file file =
      ring(7)
          .entry({.type = 1026, .size = 8, .prev_size = 20, .secs = 300})
          .entry({.type = 1027, .size = 8000, .prev_size = 8, .secs = 400})
          .start_here()
          .entry({.type = 1024, .size = 8, .prev_size = 8000, .secs = 100})
          .entry({.type = 1025, .size = 76, .prev_size = 8, .secs = 200, .sum = 0x1234})
          .end(48)
          .make();
  EXPECT_EQ(file.picture(), "E1024/8 !E1025/76 | E1026/8 start=8068 end=48");

  EXPECT_EQ(start(), lines({"100 TRACE:Going to check if file is corruptedFILE.\n",
                            "100 TRACE:vesk_check_file_corrupted start 8068 end 48 max 8192 \n",
                            "100 TRACE:checking  100 entries from start 8068\n",
                            "101 ERROR: vesk_check_file_corrupted start 8068 end 48 max 8192 \n",
                            "101 ERROR: Bad ehdr at offset at start 8096 entry count 1\n",
                            "101 ERROR: File FILE had internal error or is corrupted 2.\n",
                            "runctl_heartbeat(1)",
                            "100 TRACE:Going to recover corrupted file FILE.\n",
                            "100 TRACE:Going to for first pass ghdr recovery FILE.\n",
                            "101 gheader recovery start first phase  20 end 8192 max 8192 \n",
                            "100 TRACE:secs LT Predict start moved to 8068\n",
                            "101 ERROR: Bad ehdr at offset 8096\n",
                            "101 ERROR: Bad ehdr at offset 8100\n",
                            "101 ERROR: Bad ehdr at offset 8104\n",
                            "101 ERROR: Bad ehdr at offset 8108\n",
                            "101 ERROR: Bad ehdr at offset 8112\n",
                            "101 ERROR: Bad ehdr at offset 8116\n",
                            "101 ERROR: Bad ehdr at offset 8120\n",
                            "101 ERROR: Bad ehdr at offset 8124\n",
                            "101 ERROR: Bad ehdr at offset 8128\n",
                            "101 ERROR: Bad ehdr at offset 8132\n",
                            "101 ERROR: Bad ehdr at offset 8136\n",
                            "101 ERROR: Bad ehdr at offset 8140\n",
                            "101 ERROR: Bad ehdr at offset 8144\n",
                            "101 ERROR: Bad ehdr at offset 8148\n",
                            "101 ERROR: Bad ehdr at offset 8152\n",
                            "101 ERROR: Bad ehdr at offset 8156\n",
                            "101 ERROR: Bad ehdr at offset 8160\n",
                            "101 ERROR: Bad ehdr at offset 8164\n",
                            "101 ERROR: Bad ehdr at offset 8168\n",
                            "101 ERROR: Bad ehdr at offset 8172\n",
                            "101 Adding NULL entry at 8096 with size 76 \n",
                            "100 TRACE:Got num entries 3. going for 2nd pass FILE \n",
                            "101 gheader recovery second pass start 8068 end 8192 max 8192 \n",
                            "100 TRACE: reason 0 entry_count 3 \n",
                            "100 TRACE:File FILE ghdr recovery was successful \n",
                            "101 Updating gheader start 8068 end 48 max 8192.\n",
                            "runctl_heartbeat(0)"}));
  EXPECT_EQ(file.picture(), "E1024/8 N/76 | E1026/8 start=8068 end=48");
  EXPECT_EQ(contents(file), "E1026/8 E1027/8000 E1024/8 N/76");

  const std::vector<uint8_t> before = file.bytes();
  EXPECT_EQ(start(), (lines{"100 TRACE:Going to check if file is corruptedFILE.\n",
                            "100 TRACE:vesk_check_file_corrupted start 8068 end 48 max 8192 \n",
                            "100 TRACE:checking  100 entries from start 8068\n",
                            "101 ERROR: vesk_check_file_corrupted start 8068 end 48 max 8192 \n",
                            "100 TRACE:checking  entries from beginning 20\n",
                            "100 TRACE:checking entry at end 48\n",
                            "100 TRACE:File FILE isn't corrupted\n"}));
  EXPECT_EQ(file.bytes(), before);
}

}  // namespace
}  // namespace vesk::test
