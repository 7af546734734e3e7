#include <cerrno>

#include "recovery/vesk_ghdr_recovery.h"
#include "tests/unit/recovery/recovery_test.h"

namespace vesk::test {
namespace {

class GhdrSecondPassTest : public RecoveryTest {
 protected:
  int32_t pass(const log_file &file, uint32_t start, uint32_t max, uint32_t entry_count) {
    return vesk_ghdr_recovery_second_pass(file.fd(), start, file.size(), max, &reason, &new_end,
                                          &new_start, &last_entry, entry_count);
  }

  uint32_t reason = untouched;
  uint32_t new_end = untouched;
  uint32_t new_start = untouched;
  uint32_t last_entry = 20;
};

// Headers at 20, 48, 76 and 104; the file ends at 132.
ring four_entries() {
  return ring(7).entries(4, 8);
}

// --- from the first slot ---

TEST_F(GhdrSecondPassTest, EndLiesBehindTheLastEntryThatCounts) {
  const log_file file = four_entries().make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 20, 8192, 4), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 132u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 104u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 76, 104}));
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 20 end 132 max 8192 \n"),
                                 trace("TRACE: reason 0 entry_count 4 \n")}));
}

TEST_F(GhdrSecondPassTest, WalkStopsAtTheCountAndNotAtTheEnd) {
  const log_file file = four_entries().make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 20, 8192, 2), 0);
  EXPECT_EQ(new_end, 76u);
  EXPECT_EQ(last_entry, 48u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48}));
}

TEST_F(GhdrSecondPassTest, NullEntriesBetweenAreWalkedAndThoseBehindAreLeftOutside) {
  const log_file file = ring(7).null(8).entry(1024, 8).null(8).entry(1025, 8).null(8).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 20, 8192, 2), 0);
  EXPECT_EQ(new_end, 132u);
  EXPECT_EQ(last_entry, 104u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 76, 104}));
  EXPECT_EQ(logged().back(), trace("TRACE: reason 0 entry_count 2 \n"));
}

TEST_F(GhdrSecondPassTest, WithoutEntriesThereIsNoWalk) {
  const log_file file = four_entries().make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 20, 8192, 0), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 20u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 20u);
  EXPECT_EQ(faults.journal(), "");
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 20 end 132 max 8192 \n"),
                                 trace("TRACE: reason 0 entry_count 0 \n")}));
}

TEST_F(GhdrSecondPassTest, RingThatClosesOnTheFirstSlotLeavesTheEndThere) {
  const log_file file = four_entries().make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 20, 132, 4), 0);
  EXPECT_EQ(new_end, 20u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 104u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 76, 104}));
}

// --- a chain that breaks ---

TEST_F(GhdrSecondPassTest, BadHeaderBecomesTheEnd) {
  const log_file file = ring(7).entries(2, 8).damage(8).entry(1026, 8).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 20, 8192, 3), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 76u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 48u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 76}));
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 20 end 112 max 8192 \n"),
                                 trace("TRACE: reason 1 entry_count 2 \n"),
                                 trace("TRACE:New end for file 76\n")}));
}

TEST_F(GhdrSecondPassTest, BadHeaderInTheFirstSlotLeavesAnEmptyRing) {
  const log_file file = ring(7).damage(24).entry(1026, 8).make();
  EXPECT_EQ(pass(file, 20, 8192, 1), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 20u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 20u);
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 20 end 72 max 8192 \n"),
                                 trace("TRACE: reason 1 entry_count 0 \n"),
                                 trace("TRACE:New end for file 20\n")}));
}

TEST_F(GhdrSecondPassTest, SeekThatFailsBecomesTheEndToo) {
  const log_file file = four_entries().make();
  fault_plan faults;
  faults.fail(call::lseek, nth(3), returns{-1}, with{EIO});
  EXPECT_EQ(pass(file, 20, 8192, 4), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 76u);
  EXPECT_EQ(last_entry, 48u);
  EXPECT_EQ(remounts(), 0u);
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 20 end 132 max 8192 \n"),
                                 error("ERROR: lseek failed to seek 76, errno = 5\n"),
                                 trace("TRACE: reason 1 entry_count 2 \n"),
                                 trace("TRACE:New end for file 76\n")}));
}

TEST_F(GhdrSecondPassTest, ShortReadBecomesTheEndToo) {
  const log_file file = four_entries().make();
  EXPECT_EQ(pass(file, 20, 8192, 5), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 132u);
  EXPECT_EQ(last_entry, 104u);
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 20 end 132 max 8192 \n"),
                                 error("ERROR: ehdr read failed at 132 errno 33\n"),
                                 trace("TRACE: reason 1 entry_count 4 \n"),
                                 trace("TRACE:New end for file 132\n")}));
}

TEST_F(GhdrSecondPassTest, IoErrorRemountsAndBecomesTheEnd) {
  const log_file file = four_entries().make();
  fault_plan faults;
  faults.fail(call::read, nth(2), returns{-1}, with{EIO});
  EXPECT_EQ(pass(file, 20, 8192, 4), 0);
  EXPECT_EQ(new_end, 48u);
  EXPECT_EQ(remounts(), 1u);
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 20 end 132 max 8192 \n"),
                                 trace("TRACE:going to remount filesystem \n"),
                                 error("ERROR: ehdr read failed at 48 errno 5\n"),
                                 trace("TRACE: reason 1 entry_count 1 \n"),
                                 trace("TRACE:New end for file 48\n")}));
}

// --- from a start elsewhere, over the ring's end ---

// The end lies in front of the start: nothing more is looked at.
TEST_F(GhdrSecondPassTest, WrappedRingEndsInFrontOfItsStart) {
  const log_file file = ring(7).entry(1024, 8).null(8).entry(1025, 8).entry(1026, 8).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 76, 132, 3), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 48u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 20u);
  EXPECT_EQ(faults.journal(), looks_at({76, 104, 20}));
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 76 end 132 max 132 \n"),
                                 trace("TRACE: reason 0 entry_count 3 \n")}));
}

TEST_F(GhdrSecondPassTest, EntryBeyondTheRingsEndWrapsToo) {
  const log_file file = ring(7).entry(1024, 8).null(8).entry(1025, 8).entry(1026, 8).make();
  EXPECT_EQ(pass(file, 76, 131, 3), 0);
  EXPECT_EQ(new_end, 48u);
}

TEST_F(GhdrSecondPassTest, EntryOneByteInFrontOfTheRingsEndDoesNot) {
  const log_file file = ring(7).entry(1024, 8).null(8).entry(1025, 8).entry(1026, 8).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 20, 133, 4), 0);
  EXPECT_EQ(new_end, 132u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 76, 104, 132}));
}

// Start and end are never equal: the last entry is given up.
TEST_F(GhdrSecondPassTest, RingThatClosesOnItselfEndsAtItsLastHeader) {
  const log_file file = four_entries().make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 76, 132, 4), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 48u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 48u);
  EXPECT_EQ(faults.journal(), looks_at({76, 104, 20, 48}));
}

TEST_F(GhdrSecondPassTest, BreakBehindTheRingsEndIsFoundOnce) {
  const log_file file = ring(7).damage(28).entries(2, 8).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 48, 104, 3), 0);
  EXPECT_EQ(new_end, 20u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 76u);
  EXPECT_EQ(faults.journal(), looks_at({48, 76, 20}));
}

TEST_F(GhdrSecondPassTest, BadHeaderAtTheStartItselfEndsThere) {
  const log_file file = ring(7).entry(1024, 8).damage(28).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 48, 76, 1), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 48u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 48u);
  EXPECT_EQ(faults.journal(), looks_at({48}));
}

TEST_F(GhdrSecondPassTest, WithoutEntriesAStartElsewhereIsTheEnd) {
  const log_file file = four_entries().make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 48, 132, 0), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 48u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 48u);
  EXPECT_EQ(faults.journal(), "");
}

// --- a ring without the entries that were counted ---

TEST_F(GhdrSecondPassTest, RingOfNullEntriesAloneEndsAtItsSecondLap) {
  const log_file file = ring(7).null(8).null(8).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 20, 76, 1), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 48u);
  EXPECT_EQ(last_entry, 48u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 20, 48}));
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 20 end 76 max 76 \n"),
                                 trace("TRACE: reason 1 entry_count 0 \n"),
                                 trace("TRACE:New end for file 48\n")}));
}

// What was met in front of the ring's first end does not come again.
TEST_F(GhdrSecondPassTest, EntryOutsideTheLapDoesNotKeepTheWalkGoing) {
  const log_file file = ring(7).null(36).entry(1024, 8).make();  // headers at 20 and 76
  fault_plan faults;
  EXPECT_EQ(pass(file, 76, 76, 2), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(last_entry, 20u);
  EXPECT_EQ(faults.journal(), looks_at({76, 20}));
}

// An entry of every lap counts again in every lap, so that the walk ends by itself.
TEST_F(GhdrSecondPassTest, EntryOfEveryLapKeepsTheWalkGoing) {
  const log_file file = ring(7).null(8).entry(1024, 8).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 20, 76, 4), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 20u);
  EXPECT_EQ(last_entry, 48u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 20, 48, 20, 48, 20, 48}));
  EXPECT_EQ(logged().back(), trace("TRACE: reason 0 entry_count 4 \n"));
}

// --- from a start elsewhere to an end behind it: the walk is made again ---

TEST_F(GhdrSecondPassTest, SoundWalkMovesTheStartBehindTheEntryAtTheEnd) {
  const log_file file = four_entries().make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 48, 8192, 2), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 104u);
  EXPECT_EQ(new_start, 132u);
  EXPECT_EQ(last_entry, 76u);
  EXPECT_EQ(faults.journal(), looks_at({48, 76}) + ", " + looks_at({48, 76, 104}));
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 48 end 132 max 8192 \n"),
                                 trace("TRACE: reason 0 entry_count 2 \n")}));
}

TEST_F(GhdrSecondPassTest, StartThatComesToTheRingsEndBecomesTheFirstSlot) {
  const log_file file = four_entries().make();
  EXPECT_EQ(pass(file, 48, 132, 2), 0);
  EXPECT_EQ(new_end, 104u);
  EXPECT_EQ(new_start, 20u);
}

TEST_F(GhdrSecondPassTest, SecondWalkGoesBeyondTheRingsEndWithoutWrapping) {
  const log_file file = four_entries().make();
  EXPECT_EQ(pass(file, 48, 131, 2), 0);
  EXPECT_EQ(new_end, 104u);
  EXPECT_EQ(new_start, 132u);
}

TEST_F(GhdrSecondPassTest, BadHeaderAtTheEndFailsTheSecondWalk) {
  const log_file file = ring(7).entries(3, 8).damage(28).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 48, 8192, 2), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(new_end, 104u);
  EXPECT_EQ(new_start, 104u);
  EXPECT_EQ(last_entry, 76u);
  EXPECT_EQ(faults.journal(), looks_at({48, 76}) + ", " + looks_at({48, 76, 104}));
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 48 end 132 max 8192 \n"),
                                 trace("TRACE: reason 0 entry_count 2 \n"),
                                 error("ERROR: ehdr checksum failed at 104 \n")}));
}

// The break became the end, and the second walk reads the header at the end.
TEST_F(GhdrSecondPassTest, BreakBehindAStartElsewhereFailsTheSecondWalk) {
  const log_file file = ring(7).entries(3, 8).damage(28).make();
  EXPECT_EQ(pass(file, 48, 8192, 3), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(new_end, 104u);
  EXPECT_EQ(new_start, 104u);
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 48 end 132 max 8192 \n"),
                                 trace("TRACE: reason 1 entry_count 2 \n"),
                                 trace("TRACE:New end for file 104\n"),
                                 error("ERROR: ehdr checksum failed at 104 \n")}));
}

TEST_F(GhdrSecondPassTest, EndOfTheFileFailsTheSecondWalk) {
  const log_file file = four_entries().make();
  EXPECT_EQ(pass(file, 76, 8192, 2), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(new_end, 132u);
  EXPECT_EQ(new_start, 132u);
  EXPECT_EQ(logged().back(), error("ERROR: ehdr read failed at 132 errno 33\n"));
}

TEST_F(GhdrSecondPassTest, IoErrorFailsTheSecondWalk) {
  const log_file file = four_entries().make();
  fault_plan faults;
  faults.fail(call::read, nth(4), returns{-1}, with{EIO});
  EXPECT_EQ(pass(file, 48, 8192, 2), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(new_end, 104u);
  EXPECT_EQ(new_start, 76u);
  EXPECT_EQ(remounts(), 1u);
  EXPECT_EQ(logged().back(), error("ERROR: ehdr read failed at 76 errno 5\n"));
}

TEST_F(GhdrSecondPassTest, SeekThatFailsFailsTheSecondWalk) {
  const log_file file = four_entries().make();
  fault_plan faults;
  faults.fail(call::lseek, nth(3), returns{-1}, with{EIO});
  EXPECT_EQ(pass(file, 48, 8192, 2), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(new_end, 104u);
  EXPECT_EQ(new_start, 48u);
  EXPECT_EQ(remounts(), 0u);
  EXPECT_EQ(logged().back(), error("ERROR: lseek failed to seek 48, errno = 5\n"));
}

TEST_F(GhdrSecondPassTest, NothingIsWritten) {
  const log_file file = ring(7).entries(3, 8).damage(28).make();
  const std::vector<uint8_t> before = file.bytes();
  fault_plan faults;
  EXPECT_EQ(pass(file, 48, 8192, 3), -1);
  EXPECT_EQ(faults.count(call::write), 0u);
  EXPECT_EQ(file.bytes(), before);
}

}  // namespace
}  // namespace vesk::test
