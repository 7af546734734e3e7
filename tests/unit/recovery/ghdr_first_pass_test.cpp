#include <cerrno>
#include <initializer_list>

#include "recovery/vesk_ghdr_recovery.h"
#include "tests/unit/recovery/recovery_test.h"

namespace vesk::test {
namespace {

class GhdrFirstPassTest : public RecoveryTest {
 protected:
  // Over the whole file, as the sweep asks for it.
  int32_t pass(const log_file &file, uint32_t max = 8192) { return pass(file, file.size(), max); }
  int32_t pass(const log_file &file, uint32_t end, uint32_t max) {
    return vesk_ghdr_recovery_first_pass(file.fd(), 20, end, max, &reason, &count, &predicted);
  }

  uint32_t reason = untouched;
  uint32_t count = untouched;
  uint32_t predicted = untouched;
};

// --- nothing to repair ---

TEST_F(GhdrFirstPassTest, EmptyFileHasNoEntriesAndIsNotRead) {
  const log_file file = ring(7).make();
  fault_plan faults;
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(faults.journal(), "");
  EXPECT_EQ(logged(),
            (log_lines{error("gheader recovery start first phase  20 end 20 max 8192 \n")}));
}

TEST_F(GhdrFirstPassTest, StartBehindTheEndHasNoEntriesEither) {
  const log_file file = three_linked_entries().make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 8, 8192), 0);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(faults.journal(), "");
}

TEST_F(GhdrFirstPassTest, SoundEntriesAreReadOnceAndLeftAlone) {
  const log_file file = three_linked_entries().make();
  const std::vector<uint8_t> before = file.bytes();
  fault_plan faults;
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 76}));
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(logged(),
            (log_lines{error("gheader recovery start first phase  20 end 104 max 8192 \n")}));
}

TEST_F(GhdrFirstPassTest, NullEntriesDoNotCount) {
  const log_file file = ring(7).null(8).entry(1024, 8).null(8).entry(1025, 8).null(8).make();
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(count, 2u);
}

TEST_F(GhdrFirstPassTest, WalkMayBeginElsewhere) {
  const log_file file = ring(7).damage(28).entry(linked(1025, 8, 20)).make();
  fault_plan faults;
  EXPECT_EQ(vesk_ghdr_recovery_first_pass(file.fd(), 48, 76, 8192, &reason, &count, &predicted), 0);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(predicted, 48u);
  EXPECT_EQ(faults.journal(), looks_at({48}));
}

// --- prev_size ---

// The sum is taken with the old checksum word in place: what is stored is not what would hold.
TEST_F(GhdrFirstPassTest, AppendedEntriesGetTheirPreviousSizeAndLoseTheirSum) {
  const log_file file = ring(7).entries(3, 8).make();
  fault_plan faults;
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(faults.journal(),
            "lseek 20, read 20, lseek 20, read 20, lseek 20, write 20, "
            "lseek 48, read 20, lseek 48, read 20, lseek 48, write 20, "
            "lseek 76, read 20, lseek 76, read 20, lseek 76, write 20");
  EXPECT_EQ(contents(file), "!E1024/8 !E1025/8 !E1026/8");
  EXPECT_EQ(file.hex(26, 6), "ff eb 00 00  00 14");
  EXPECT_EQ(file.hex(54, 6), "ff f7 00 00  00 08");
  EXPECT_EQ(file.hex(82, 6), "ff f7 00 00  00 08");
  EXPECT_EQ(logged(),
            (log_lines{error("gheader recovery start first phase  20 end 104 max 8192 \n"),
                       error("Updating eheader at 20 with size 20\n"),
                       error("Updating eheader at 48 with size 8\n"),
                       error("Updating eheader at 76 with size 8\n")}));
}

TEST_F(GhdrFirstPassTest, ZeroIsRightBehindAnEntryWithoutData) {
  const log_file file = ring(7)
                            .entry({.prev_size = 20, .usecs = 1})
                            .entry(linked(1025, 8, 0))
                            .entry(linked(1026, 8, 8))
                            .make();
  const std::vector<uint8_t> before = file.bytes();
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(file.bytes(), before);
}

TEST_F(GhdrFirstPassTest, HeaderWithAZeroSumHoldsAfterItsRewrite) {
  const log_file file = ring(7).entry(lasting(1024, 8, 0)).entry(linked(1025, 8, 8)).make();
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(contents(file), "E1024/8 E1025/8");
  EXPECT_EQ(file.hex(26, 6), "ff eb 00 00  00 14");
}

TEST_F(GhdrFirstPassTest, RewriteThatFailsDoesNotStopTheWalk) {
  const log_file file = ring(7).entries(2, 8).make();
  fault_plan faults;
  faults.fail(call::write, nth(1), returns{19}, with{ENOSPC});
  faults.fail(call::write, nth(2), returns{-1}, with{ENOSPC});
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(contents(file), "E1024/8 E1025/8");
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery start first phase  20 end 76 max 8192 \n"),
                                 error("Updating eheader at 20 with size 20\n"),
                                 error("ERROR: Write failed ret 19 errno 28."),
                                 error("Updating eheader at 48 with size 8\n"),
                                 error("ERROR: Write failed ret -1 errno 28.")}));
}

TEST_F(GhdrFirstPassTest, RewriteThatCannotReadItsHeaderDoesNotStopTheWalkEither) {
  const log_file file = ring(7).entries(2, 8).make();
  fault_plan faults;
  faults.fail(call::lseek, nth(2), returns{-1}, with{EINVAL});
  faults.fail(call::read, nth(3), returns{-1}, with{EFAULT});
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(faults.journal(), "lseek 20, read 20, lseek 20, lseek 48, read 20, lseek 48, read 20");
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery start first phase  20 end 76 max 8192 \n"),
                                 error("Updating eheader at 20 with size 20\n"),
                                 error("ERROR: lseek failed to seek 20, errno = 22"),
                                 error("Updating eheader at 48 with size 8\n"),
                                 error("ERROR: ehdr read fails errno 14")}));
}

// --- damage between entries ---

TEST_F(GhdrFirstPassTest, TwentyFourBytesOfDamageBecomeANullEntryOfFour) {
  const log_file file = damaged_at_80(24).make();
  fault_plan faults;
  faults.clock(clock_now, 5);
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(faults.journal(), looks_at({20, 80, 84, 88, 92, 96, 100, 104}) +
                                  ", gettimeofday, lseek 80, write 20, write 4"
                                  ", lseek 104, read 20, lseek 104, write 20");
  EXPECT_EQ(contents(file), "E1024/40 N/4 !E1025/8");
  EXPECT_EQ(file.hex(80, 24),
            "01 25 00 00  00 04 9e a9  00 00 00 28  60 00 00 00  00 00 00 05  00 00 00 00");
  EXPECT_EQ(file.hex(114, 2), "00 04");
  EXPECT_EQ(logged(),
            (log_lines{error("gheader recovery start first phase  20 end 132 max 8192 \n")} +
             bad_headers(80, 100) +
             log_lines{error("Adding NULL entry at 80 with size 4 \n"),
                       error("Updating eheader at 104 with size 4\n")}));
}

// The second rewrite goes by the copy of the header that was read before the first, and finds that
// the first has left a sum that does not hold.
TEST_F(GhdrFirstPassTest, SecondRewriteBehindANullEntryFailsOnTheSumOfTheFirst) {
  const log_file file = ring(7).entry(1024, 40).damage(24).entry(1025, 8).make();
  fault_plan faults;
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(faults.journal(), "lseek 20, read 20, lseek 20, read 20, lseek 20, write 20, " +
                                  looks_at({80, 84, 88, 92, 96, 100, 104}) +
                                  ", gettimeofday, lseek 80, write 20, write 4"
                                  ", lseek 104, read 20, lseek 104, write 20, lseek 104, read 20");
  EXPECT_EQ(contents(file), "!E1024/40 N/4 !E1025/8");
  EXPECT_EQ(file.hex(110, 6), "ff fb 00 00  00 04");
  EXPECT_EQ(logged(),
            (log_lines{error("gheader recovery start first phase  20 end 132 max 8192 \n"),
                       error("Updating eheader at 20 with size 20\n")} +
             bad_headers(80, 100) +
             log_lines{error("Adding NULL entry at 80 with size 4 \n"),
                       error("Updating eheader at 104 with size 4\n"),
                       error("Updating eheader at 104 with size 40\n"),
                       error("ERROR: Bad ehdr at offset 104")}));
}

TEST_F(GhdrFirstPassTest, SecondRewriteReplacesTheNullEntrysSizeWhereTheFirstStillHolds) {
  const log_file file =
      ring(7).entry(linked(1024, 40, 20)).damage(24).entry(lasting(1025, 8, 0)).make();
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(contents(file), "E1024/40 N/4 !E1025/8");
  // The first leaves fffb, and with it the sum of the second is ffff + 0028 + fffb, folded 0024.
  EXPECT_EQ(file.hex(110, 6), "ff db 00 00  00 28");
  EXPECT_EQ(errors(),
            (log_lines{error("gheader recovery start first phase  20 end 132 max 8192 \n")} +
             bad_headers(80, 100) +
             log_lines{error("Adding NULL entry at 80 with size 4 \n"),
                       error("Updating eheader at 104 with size 4\n"),
                       error("Updating eheader at 104 with size 40\n")}));
}

// Four is right behind the null entry already, but the copy differs from the forty in front of it.
TEST_F(GhdrFirstPassTest, RewriteWithTheSameValueBreaksTheSumToo) {
  const log_file file =
      ring(7).entry(linked(1024, 40, 20)).damage(24).entry(linked(1025, 8, 4)).make();
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(contents(file), "E1024/40 N/4 !E1025/8");
  EXPECT_EQ(file.hex(110, 6), "00 00 00 00  00 04");
  EXPECT_EQ(errors().back(), error("ERROR: Bad ehdr at offset 104"));
}

TEST_F(GhdrFirstPassTest, WalkGoesOnBehindTheDamageWithTheNextEntrysSize) {
  const log_file file = ring(7)
                            .entry(linked(1024, 40, 20))
                            .damage(24)
                            .entry(linked(1025, 8, 40))  // 104
                            .damage(28)                  // 132
                            .entry(linked(1026, 12, 8))  // 160
                            .entry(linked(1027, 4, 12))  // 192
                            .make();
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(count, 4u);
  EXPECT_EQ(contents(file), "E1024/40 N/4 !E1025/8 N/8 !E1026/12 E1027/4");
  EXPECT_EQ(file.hex(142, 2), "00 08");
  EXPECT_EQ(file.hex(166, 6), "00 00 00 00  00 08");
  EXPECT_EQ(errors(),
            (log_lines{error("gheader recovery start first phase  20 end 216 max 8192 \n")} +
             bad_headers(80, 100) +
             log_lines{error("Adding NULL entry at 80 with size 4 \n"),
                       error("Updating eheader at 104 with size 4\n")} +
             bad_headers(132, 156) +
             log_lines{error("Adding NULL entry at 132 with size 8 \n"),
                       error("Updating eheader at 160 with size 8\n")}));
}

// The global header in front of them counts as an entry of 20 bytes.
TEST_F(GhdrFirstPassTest, DamageInTheFirstSlotIsCoveredLikeAnyOther) {
  const log_file file = ring(7).damage(24).entry(linked(1024, 8, 20)).make();
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(contents(file), "N/4 !E1024/8");
  EXPECT_EQ(file.hex(30, 2), "00 14");
  EXPECT_EQ(file.hex(54, 2), "00 04");
}

TEST_F(GhdrFirstPassTest, DamageOfTwentyBytesAndLessLosesTheFile) {
  for (const uint32_t gap : {4u, 8u, 12u, 16u, 20u}) {
    SCOPED_TRACE(gap);
    platform.forget();
    const log_file file = damaged_at_80(gap).make();
    const std::vector<uint8_t> before = file.bytes();
    EXPECT_EQ(pass(file), -1);
    EXPECT_EQ(reason, 2u);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(predicted, 20u);
    EXPECT_EQ(file.bytes(), before);
    EXPECT_EQ(errors().back(), error("ERROR: No space " + std::to_string(gap) +
                                     " to add header 80 Remove file. \n"));
  }
}

TEST_F(GhdrFirstPassTest, WhatWasRepairedInFrontOfALostFileStaysRepaired) {
  const log_file file = ring(7).entry(1024, 40).damage(8).entry(1025, 8).make();
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(contents(file), "!E1024/40 ~8 E1025/8");
  EXPECT_EQ(
      logged(),
      (log_lines{error("gheader recovery start first phase  20 end 116 max 8192 \n"),
                 error("Updating eheader at 20 with size 20\n"),
                 error("ERROR: Bad ehdr at offset 80\n"), error("ERROR: Bad ehdr at offset 84\n"),
                 error("ERROR: No space 8 to add header 80 Remove file. \n")}));
}

TEST_F(GhdrFirstPassTest, DamageOfTwentyBytesInTheFirstSlotLosesTheFile) {
  const log_file file = ring(7).damage(20).entry(linked(1024, 8, 20)).make();
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(errors().back(), error("ERROR: No space 20 to add header 20 Remove file. \n"));
}

// --- how much damage is tolerated ---

ring two_stretches(uint32_t first, uint32_t second) {
  return ring(6)
      .entry(linked(1024, 8, 20))
      .damage(first)
      .entry(linked(1025, 8, 8))
      .damage(second)
      .entry(linked(1026, 8, 8));
}

TEST_F(GhdrFirstPassTest, DamageOf8192BytesInAllIsTolerated) {
  const log_file file = two_stretches(4096, 4096).make();
  EXPECT_EQ(pass(file, 0x20000), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(contents(file), "E1024/8 N/4076 !E1025/8 N/4076 !E1026/8");
}

TEST_F(GhdrFirstPassTest, DamageOf8196BytesInAllBreaksTheWalkOff) {
  const log_file file = two_stretches(4096, 4100).make();
  EXPECT_EQ(pass(file, 0x20000), -1);
  EXPECT_EQ(reason, 1u);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(contents(file), "E1024/8 N/4076 !E1025/8 ~4100 E1026/8");
  EXPECT_EQ(logged(),
            (log_lines{error("gheader recovery start first phase  20 end 8300 max 131072 \n")} +
             bad_headers(48, 4140) +
             log_lines{error("Adding NULL entry at 48 with size 4076 \n"),
                       error("Updating eheader at 4144 with size 4076\n")} +
             bad_headers(4172, 8268) +
             log_lines{error("ERROR: corrupted size 8196 is beyond max 8192\n")}));
}

TEST_F(GhdrFirstPassTest, OneStretchOf8192BytesIsTolerated) {
  const log_file file =
      ring(6).entry(linked(1024, 8, 20)).damage(8192).entry(linked(1025, 8, 8)).make();
  EXPECT_EQ(pass(file, 0x20000), 0);
  EXPECT_EQ(contents(file), "E1024/8 N/8172 !E1025/8");
}

TEST_F(GhdrFirstPassTest, TooMuchDamageBehindNullEntriesAloneLosesTheFile) {
  const log_file file = ring(6)
                            .entry({.uuid = 293, .type = 0, .size = 8, .prev_size = 20})
                            .damage(8196)
                            .entry(1024, 8)
                            .make();
  EXPECT_EQ(pass(file, 0x20000), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(errors().back(), error("ERROR: corrupted size 8196 is beyond max 8192\n"));
}

// --- damage up to the ring's end ---

TEST_F(GhdrFirstPassTest, DamageUpToTheRingsEndIsCovered) {
  const log_file file = ring(7).entry(linked(1024, 40, 20)).damage_to(8192).make();
  fault_plan faults;
  faults.clock(clock_now, 5);
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(contents(file), "E1024/40 N/8092");
  // 0125 + 1f9c + 0028 + 6000 + 0005 = 80ee; 7f11 completes it.
  EXPECT_EQ(file.hex(80, 20), "01 25 00 00  1f 9c 7f 11  00 00 00 28  60 00 00 00  00 00 00 05");
  EXPECT_EQ(file.size(), 8192u);
  EXPECT_EQ(
      logged(),
      (log_lines{error("gheader recovery start first phase  20 end 8192 max 8192 \n")} +
       bad_headers(80, 8172) + log_lines{error("Adding NULL entry at 80 with size 8092 \n")}));
}

TEST_F(GhdrFirstPassTest, DamageOfTwentyFourBytesAtTheRingsEndIsCovered) {
  const log_file file = ring(7).entry(linked(1024, 40, 20)).damage(24).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 104), 0);
  EXPECT_EQ(faults.journal(),
            looks_at({20, 80, 84}) + ", gettimeofday, lseek 80, write 20, write 4");
  EXPECT_EQ(contents(file), "E1024/40 N/4");
}

TEST_F(GhdrFirstPassTest, DamageOfTwentyBytesAtTheRingsEndLosesTheFile) {
  const log_file file = ring(7).entry(linked(1024, 40, 20)).damage(20).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 100), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(faults.count(call::write), 0u);
  EXPECT_EQ(errors(), (log_lines{error("gheader recovery start first phase  20 end 100 max 100 \n"),
                                 error("ERROR: Bad ehdr at offset 80\n"),
                                 error("ERROR: No space to add NULL ent Can't recover file \n")}));
}

TEST_F(GhdrFirstPassTest, LessThanAHeaderAtTheRingsEndLosesTheFile) {
  const log_file file = ring(7).entry(linked(1024, 40, 20)).damage(20).make();
  EXPECT_EQ(pass(file, 100, 96), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(errors().back(), error("ERROR: No space to add NULL ent Can't recover file \n"));
}

TEST_F(GhdrFirstPassTest, DamageThroughTheWholeRingLeavesANullEntryAndNoCount) {
  const log_file file = ring(7).damage_to(8192).make();
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(contents(file), "N/8152");
}

// The walk stops at the end it was given; what is open there stays open.
TEST_F(GhdrFirstPassTest, DamageThatReachesTheEndIsLeftAsItIs) {
  const log_file file = ring(7).entry(linked(1024, 40, 20)).damage(60).make();
  const std::vector<uint8_t> before = file.bytes();
  fault_plan faults;
  EXPECT_EQ(pass(file, 104, 8192), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(faults.journal(), looks_at({20, 80, 84, 88, 92, 96, 100}));
}

// With the file's size as the end there are no twenty bytes left to read before that.
TEST_F(GhdrFirstPassTest, DamageThatReachesTheEndOfTheFileIsAReadFailure) {
  const log_file file = ring(7).entry(linked(1024, 40, 20)).damage(24).make();
  const std::vector<uint8_t> before = file.bytes();
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 1u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(
      logged(),
      (log_lines{error("gheader recovery start first phase  20 end 104 max 8192 \n"),
                 error("ERROR: Bad ehdr at offset 80\n"), error("ERROR: Bad ehdr at offset 84\n"),
                 error("ERROR: ehdr read failed errno 33 seek 88\n")}));
}

// --- entries beyond the ring's end ---

TEST_F(GhdrFirstPassTest, EntryThatEndsExactlyAtTheRingsEndIsNoError) {
  const log_file file = three_linked_entries().make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 104), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 76}));
}

TEST_F(GhdrFirstPassTest, EntryThatEndsBeyondTheRingsEndLosesTheFile) {
  const log_file file = three_linked_entries().make();
  EXPECT_EQ(pass(file, 103), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(errors(), (log_lines{error("gheader recovery start first phase  20 end 104 max 103 \n"),
                                 error("ERROR: Curr 104 is greater than max 103 \n")}));
}

TEST_F(GhdrFirstPassTest, EntryBeyondTheRingsEndIsRewrittenAndCountedFirst) {
  const log_file file = ring(7).entry({.type = 1024, .size = 65532}).make();
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(file.hex(30, 2), "00 14");
  EXPECT_EQ(logged(),
            (log_lines{error("gheader recovery start first phase  20 end 65572 max 8192 \n"),
                       error("Updating eheader at 20 with size 20\n"),
                       error("ERROR: Curr 65572 is greater than max 8192 \n")}));
}

// --- where the oldest entry lies ---

struct stamp {
  uint32_t secs;
  uint32_t usecs = 0x1234;
  uint16_t type = 1024;
};

constexpr uint16_t null_type = 0;

// Entries of 8 bytes with these time stamps. Their headers lie at 20, 48, 76, 104 and so on.
ring stamped(std::initializer_list<stamp> stamps) {
  ring r(7);
  uint16_t prev_size = 20;
  for (const stamp &s : stamps) {
    r.entry({.type = s.type, .size = 8, .prev_size = prev_size, .secs = s.secs, .usecs = s.usecs});
    prev_size = 8;
  }
  return r;
}

class PredictionTest : public GhdrFirstPassTest {
 protected:
  // The prediction for a file that has reached its full size with these entries.
  uint32_t predict(std::initializer_list<stamp> stamps) {
    platform.forget();
    const log_file file = stamped(stamps).make();
    EXPECT_EQ(pass(file, file.size()), 0);
    EXPECT_EQ(reason, 0u);
    return predicted;
  }

  static log_lines traces() {
    log_lines found;
    for (const log_line &line : logged()) {
      if (line.level == 100) found.push_back(line);
    }
    return found;
  }
};

TEST_F(PredictionTest, EntriesInTheOrderOfTimeBeginInTheFirstSlot) {
  EXPECT_EQ(predict({{100}, {200}, {300}, {400}}), 20u);
  EXPECT_EQ(traces(), log_lines{});
}

TEST_F(PredictionTest, OldestEntryIsTheOneBehindTheDropInSeconds) {
  EXPECT_EQ(predict({{300}, {400}, {100}, {200}}), 76u);
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery start first phase  20 end 132 max 132 \n"),
                                 trace("TRACE:secs LT Predict start moved to 76\n")}));
}

TEST_F(PredictionTest, LastDropWins) {
  EXPECT_EQ(predict({{300}, {100}, {400}, {200}}), 104u);
  EXPECT_EQ(traces(), (log_lines{trace("TRACE:secs LT Predict start moved to 48\n"),
                                 trace("TRACE:secs LT Predict start moved to 104\n")}));
}

TEST_F(PredictionTest, FileThatIsNotFullIsNotPredicted) {
  const log_file file = stamped({{300}, {400}, {100}, {200}}).make();
  EXPECT_EQ(pass(file, 136), 0);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(traces(), log_lines{});
}

TEST_F(PredictionTest, FileBeyondItsFullSizeIs) {
  const log_file file = stamped({{300}, {400}, {100}, {200}}).make();
  EXPECT_EQ(pass(file, 136, 132), -1);  // nothing can be read from 132 on
  EXPECT_EQ(reason, 1u);
  EXPECT_EQ(count, 4u);
  EXPECT_EQ(predicted, 76u);
}

// Within one second it is the other way round: a later entry moves the prediction.
TEST_F(PredictionTest, LaterMicrosecondsOfOneSecondMoveThePrediction) {
  EXPECT_EQ(predict({{300, 10}, {300, 11}}), 48u);
  EXPECT_EQ(traces(), (log_lines{trace("TRACE:usecs LT Predict start moved to 48\n")}));
}

TEST_F(PredictionTest, EarlierOrEqualMicrosecondsOfOneSecondDoNot) {
  EXPECT_EQ(predict({{300, 10}, {300, 10}}), 20u);
  EXPECT_EQ(predict({{300, 10}, {300, 9}}), 20u);
  EXPECT_EQ(traces(), log_lines{});
}

TEST_F(PredictionTest, MicrosecondsAreUnsigned) {
  EXPECT_EQ(predict({{300, 0x7FFFFFFF}, {300, 0x80000000}}), 48u);
  EXPECT_EQ(predict({{300, 0x80000000}, {300, 0x7FFFFFFF}}), 20u);
}

TEST_F(PredictionTest, MicrosecondsOfDifferentSecondsDoNotMatter) {
  EXPECT_EQ(predict({{300, 10}, {301, 999}}), 20u);
  EXPECT_EQ(predict({{300, 10}, {299, 5}}), 48u);
  EXPECT_EQ(traces(), (log_lines{trace("TRACE:secs LT Predict start moved to 48\n")}));
}

TEST_F(PredictionTest, SecondsBeyondThirtyOneBitsAreLater) {
  EXPECT_EQ(predict({{0x7FFFFFFF}, {0x80000000}}), 20u);
  EXPECT_EQ(predict({{0x00000001}, {0xFFFFFFFF}}), 20u);
  EXPECT_EQ(predict({{0x80000000}, {0x7FFFFFFF}}), 48u);
  EXPECT_EQ(predict({{0xFFFFFFFF}, {0x00000001}}), 48u);
  EXPECT_EQ(predict({{0xFFFFFFFE}, {0xFFFFFFFF}}), 20u);
  EXPECT_EQ(predict({{0xFFFFFFFF}, {0xFFFFFFFE}}), 48u);
}

TEST_F(PredictionTest, FirstEntryThatCountsIsNeverCompared) {
  EXPECT_EQ(predict({{300, 1, null_type}, {100}}), 20u);
  EXPECT_EQ(count, 1u);
}

TEST_F(PredictionTest, NullEntriesAreComparedWithButDoNotMoveThePrediction) {
  EXPECT_EQ(predict({{300}, {500, 1, null_type}, {400}}), 76u);
  EXPECT_EQ(predict({{300}, {100, 1, null_type}, {200}}), 20u);
  EXPECT_EQ(count, 2u);
}

// A null entry that covers damage is stamped with the present, but what counts is the entry before.
TEST_F(PredictionTest, CoveredDamageIsNotComparedWith) {
  const log_file file = ring(7)
                            .entry({.type = 1024, .size = 8, .prev_size = 20, .secs = 100})
                            .damage(24)
                            .entry({.type = 1025, .size = 8, .prev_size = 8, .secs = 200})
                            .make();
  fault_plan faults;
  faults.clock(clock_now, 5);
  EXPECT_EQ(pass(file, 100), 0);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(contents(file), "E1024/8 N/4 !E1025/8");
}

TEST_F(PredictionTest, PredictionComesBehindTheRewritesOfItsEntry) {
  const log_file file = ring(7)
                            .entry({.type = 1024, .size = 8, .prev_size = 20, .secs = 300})
                            .entry({.type = 1025, .size = 8, .prev_size = 0, .secs = 100})
                            .make();
  EXPECT_EQ(pass(file, 76), 0);
  EXPECT_EQ(predicted, 48u);
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery start first phase  20 end 76 max 76 \n"),
                                 error("Updating eheader at 48 with size 8\n"),
                                 trace("TRACE:secs LT Predict start moved to 48\n")}));
}

TEST_F(PredictionTest, PredictionAtTheRingsEndBecomesTheFirstSlot) {
  const log_file file = stamped({{300}, {400}, {100}}).make();
  EXPECT_EQ(pass(file, 104, 76), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery start first phase  20 end 104 max 76 \n"),
                                 trace("TRACE:secs LT Predict start moved to 76\n"),
                                 error("ERROR: Curr 104 is greater than max 76 \n")}));
}

TEST_F(PredictionTest, StartAtTheRingsEndIsPredictedInTheFirstSlot) {
  const log_file file = ring(7).make();
  EXPECT_EQ(vesk_ghdr_recovery_first_pass(file.fd(), 8192, 8192, 8192, &reason, &count, &predicted),
            0);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(predicted, 20u);
}

TEST_F(PredictionTest, PredictionIsHandedOutWhenTheWalkBreaksOff) {
  const log_file file = stamped({{300}, {400}, {100}, {200}}).make();
  fault_plan faults;
  faults.fail(call::lseek, nth(4), returns{-1}, with{EIO});
  EXPECT_EQ(pass(file, 132), -1);
  EXPECT_EQ(reason, 1u);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(predicted, 76u);
}

// --- system calls that fail ---

TEST_F(GhdrFirstPassTest, SeekThatFailsBreaksTheWalkOff) {
  const log_file file = three_linked_entries().make();
  fault_plan faults;
  faults.fail(call::lseek, nth(2), returns{-1}, with{EIO});
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 1u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(remounts(), 0u);
  EXPECT_EQ(faults.journal(), "lseek 20, read 20, lseek 48");
  EXPECT_EQ(errors().back(), error("ERROR: lseek failed to seek 48, errno = 5\n"));
}

TEST_F(GhdrFirstPassTest, SeekThatFailsInFrontOfEveryEntryLosesTheFile) {
  const log_file file = three_linked_entries().make();
  fault_plan faults;
  faults.fail(call::lseek, nth(1), returns{-1}, with{EINVAL});
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(errors().back(), error("ERROR: lseek failed to seek 20, errno = 22\n"));
}

TEST_F(GhdrFirstPassTest, ShortReadBreaksTheWalkOff) {
  const log_file file = three_linked_entries().make();
  fault_plan faults;
  faults.shorten(call::read, nth(3), only{19}, with{ENXIO});
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 1u);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(remounts(), 0u);
  EXPECT_EQ(errors().back(), error("ERROR: ehdr read failed errno 6 seek 76\n"));
}

TEST_F(GhdrFirstPassTest, IoErrorRemountsAndStillBreaksTheWalkOff) {
  const log_file file = three_linked_entries().make();
  fault_plan faults;
  faults.fail(call::read, nth(2), returns{-1}, with{EIO});
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 1u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(remounts(), 1u);
  EXPECT_EQ(logged(),
            (log_lines{error("gheader recovery start first phase  20 end 104 max 8192 \n"),
                       trace("TRACE:going to remount filesystem \n"),
                       error("ERROR: ehdr read failed errno 5 seek 48\n")}));
}

TEST_F(GhdrFirstPassTest, ReadThatFailsBehindANullEntryAloneLosesTheFile) {
  const log_file file = ring(7).null(8).entry(1024, 8).make();
  fault_plan faults;
  faults.fail(call::read, nth(3), returns{-1}, with{EFAULT});  // the second is a rewrite's
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(errors().back(), error("ERROR: ehdr read failed errno 14 seek 48\n"));
}

TEST_F(GhdrFirstPassTest, ClockThatFailsInFrontOfANullEntryLosesTheFile) {
  const log_file file = damaged_at_80(24).make();
  const std::vector<uint8_t> before = file.bytes();
  fault_plan faults;
  faults.fail(call::gettimeofday, nth(1), returns{-1}, with{EFAULT});
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(logged(),
            (log_lines{error("gheader recovery start first phase  20 end 132 max 8192 \n")} +
             bad_headers(80, 100) +
             log_lines{error("Adding NULL entry at 80 with size 4 \n"),
                       error("ERROR: gettimeofday() failed with errno 14."),
                       error("ERROR: Add NULL ent failed \n")}));
}

TEST_F(GhdrFirstPassTest, WriteThatFailsInANullEntryLosesTheFile) {
  const log_file file = damaged_at_80(24).make();
  fault_plan faults;
  faults.fail(call::write, nth(2), returns{-1}, with{ENOSPC});
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(faults.count(call::write), 2u);
  EXPECT_EQ(file.hex(80, 6), "01 25 00 00  00 04");  // what was written stays
  const log_lines found = errors();
  EXPECT_EQ(found[found.size() - 2], error("ERROR: Write failed etype 0 len 4 errno 28."));
  EXPECT_EQ(found.back(), error("ERROR: Add NULL ent failed \n"));
}

TEST_F(GhdrFirstPassTest, NullEntryThatFailsAtTheRingsEndLosesTheFile) {
  const log_file file = ring(7).entry(linked(1024, 40, 20)).damage(24).make();
  fault_plan faults;
  faults.fail(call::write, nth(1), returns{19}, with{EIO});
  EXPECT_EQ(pass(file, 104), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(remounts(), 1u);
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery start first phase  20 end 104 max 104 \n"),
                                 error("ERROR: Bad ehdr at offset 80\n"),
                                 error("ERROR: Bad ehdr at offset 84\n"),
                                 error("Adding NULL entry at 80 with size 4 \n"),
                                 trace("TRACE:going to remount filesystem \n"),
                                 error("ERROR: Write failed ret 19 ehdr entry type 0. errno 5."),
                                 error("ERROR: Add NULL ent failed \n")}));
}

}  // namespace
}  // namespace vesk::test
