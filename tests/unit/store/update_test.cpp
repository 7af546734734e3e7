#include "store/vesk_update.h"

#include <cerrno>

#include "store/vesk_state.h"
#include "tests/unit/store/store_test.h"

namespace vesk::test {
namespace {

// --- rewriting an entry ---

class Update : public StoreTest {
 protected:
  // The ring as its global header describes it, except `end` where a test wants another one.
  int32_t update(const log_file &file, const record &r) {
    const std::vector<uint8_t> b = file.bytes();
    const auto at = [&](size_t i) {
      return static_cast<uint32_t>(b[i] << 24 | b[i + 1] << 16 | b[i + 2] << 8 | b[i + 3]);
    };
    return vesk_check_update_type(file.fd(), at(12), at(16), at(8), r, &not_found, &code);
  }

  uint8_t not_found = 0;
};

constexpr char old_data[] = "\xB5\xB5\xB5\xB5\xB5\xB5\xB5\xB5";

// Headers at 20, 48 and 76, their data at 40, 68 and 96.
ring three_of_a_kind() {
  return ring(7).entry(1024, 8).entry(1024, 8).entry(1024, 8);
}

TEST_F(Update, empty_file_has_nothing_to_update_and_is_not_read) {
  const log_file file = ring(7).make();
  fault_plan faults;
  EXPECT_EQ(vesk_check_update_type(file.fd(), 20, 20, 8192, record(1024, 8), &not_found, &code),
            -1);
  EXPECT_EQ(not_found, 1);
  EXPECT_EQ(faults.journal(), "");
  EXPECT_EQ(logged(), log_lines{});
}

TEST_F(Update, no_instance_means_the_last_of_all) {
  const log_file file = three_of_a_kind().make();
  EXPECT_EQ(update(file, record({.type = 1024, .len = 8, .instance = 0})), 0);
  EXPECT_EQ(file.text(40, 8), old_data);
  EXPECT_EQ(file.text(68, 8), old_data);
  EXPECT_EQ(file.text(96, 8), "abcdefgh");
  EXPECT_EQ(not_found, 0);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(), log_lines{});
}

TEST_F(Update, instance_counts_from_the_start) {
  for (const uint32_t instance : {1u, 2u, 3u}) {
    SCOPED_TRACE(instance);
    const log_file file = three_of_a_kind().make();
    EXPECT_EQ(update(file, record({.type = 1024, .len = 8, .instance = instance})), 0);
    EXPECT_EQ(file.text(40, 8), instance == 1 ? "abcdefgh" : old_data);
    EXPECT_EQ(file.text(68, 8), instance == 2 ? "abcdefgh" : old_data);
    EXPECT_EQ(file.text(96, 8), instance == 3 ? "abcdefgh" : old_data);
  }
}

TEST_F(Update, instance_beyond_those_there_are_means_the_last) {
  const log_file file = three_of_a_kind().make();
  EXPECT_EQ(update(file, record({.type = 1024, .len = 8, .instance = 5})), 0);
  EXPECT_EQ(file.text(68, 8), old_data);
  EXPECT_EQ(file.text(96, 8), "abcdefgh");
}

TEST_F(Update, rewrites_the_whole_header_in_place) {
  const log_file file = ring(7).entry(1024, 40).entry(1025, 8).entry(1026, 4).make();
  const record r({.uuid = 77,
                  .type = 1025,
                  .len = 7,
                  .flags = 3,
                  .secs = 0x01020304,
                  .usecs = 0x05060708,
                  .data = "renewed"});
  EXPECT_EQ(update(file, r), 0);
  // 004d + 0401 + 0008 + 0300 + 0028 + 0102 + 0304 + 0506 + 0708 = 1792; e86d is its complement.
  // 0028 is the size of the entry before it.
  EXPECT_EQ(file.hex(80, 28),
            "00 4d 04 01  00 08 e8 6d  03 00 00 28  01 02 03 04  05 06 07 08  "
            "72 65 6e 65  77 65 64 00");
  EXPECT_EQ(file.picture(), "E1024/40 E1025/8 E1026/4 start=20 end=132");
}

TEST_F(Update, reads_each_header_once_and_writes_one_entry) {
  const log_file file = three_of_a_kind().make();
  fault_plan faults;
  EXPECT_EQ(update(file, record({.type = 1024, .len = 5, .instance = 2})), 0);
  EXPECT_EQ(faults.journal(),
            "lseek 20, read 20, lseek 48, read 20, lseek 48, write 20, write 5, write 3");
}

TEST_F(Update, walk_ends_where_the_live_entries_end) {
  const log_file file = three_of_a_kind().end(76).make();
  fault_plan faults;
  EXPECT_EQ(update(file, record({.type = 1024, .len = 8, .instance = 3})), 0);
  EXPECT_EQ(file.text(68, 8), "abcdefgh");
  EXPECT_EQ(faults.journal(), "lseek 20, read 20, lseek 48, read 20, lseek 48, write 20, write 8");
}

TEST_F(Update, first_entry_of_the_walk_is_given_a_previous_size_of_twenty) {
  const log_file file = three_of_a_kind().make();
  EXPECT_EQ(update(file, record({.type = 1024, .len = 8, .instance = 1})), 0);
  EXPECT_EQ(file.hex(30, 2), "00 14");
}

TEST_F(Update, follows_the_ring_over_its_end) {
  const log_file file = ring(7)
                            .max(400)
                            .entry(1025, 8)  // 20
                            .entry(1024, 8)  // 48
                            .end_here()
                            .damage(24)
                            .start_here()  // 100
                            .entry(1024, 40)
                            .null_to_max()
                            .make();
  fault_plan faults;
  EXPECT_EQ(update(file, record(1024, 8)), 0);
  EXPECT_EQ(file.text(68, 8), "abcdefgh");
  EXPECT_EQ(file.hex(58, 2), "00 08");
  EXPECT_EQ(faults.journal(),
            "lseek 100, read 20, lseek 160, read 20, lseek 20, read 20, lseek 48, read 20, "
            "lseek 48, write 20, write 8");
}

TEST_F(Update, first_entry_behind_the_rings_end_is_given_a_previous_size_of_twenty) {
  const log_file file =
      ring(7).max(128).entry(1025, 8).end_here().damage(20).start_here().entry(1024, 40).make();
  EXPECT_EQ(update(file, record(1025, 8)), 0);
  EXPECT_EQ(file.text(40, 8), "abcdefgh");
  EXPECT_EQ(file.hex(30, 2), "00 14");
}

TEST_F(Update, live_entries_may_end_exactly_at_the_rings_end) {
  const log_file file = ring(7).max(108).entry(1025, 8).start_here().entry(1024, 40).end(20).make();
  fault_plan faults;
  EXPECT_EQ(update(file, record(1025, 8)), -1);
  EXPECT_EQ(not_found, 1);
  EXPECT_EQ(faults.journal(), "lseek 48, read 20");
}

TEST_F(Update, both_uuid_and_type_must_match) {
  const log_file file = ring(7)
                            .entry({.uuid = 78, .type = 1024, .size = 8})
                            .entry({.uuid = 77, .type = 1025, .size = 8})
                            .make();
  EXPECT_EQ(update(file, record({.uuid = 77, .type = 1024, .len = 8})), -1);
  EXPECT_EQ(not_found, 1);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(file.text(40, 8), old_data);
  EXPECT_EQ(file.text(68, 8), old_data);
  EXPECT_EQ(logged(), log_lines{});
}

TEST_F(Update, record_of_exactly_the_entrys_size_fits) {
  const log_file file = ring(7).entry(1024, 8).entry(1025, 4).make();
  EXPECT_EQ(update(file, record(1024, 8)), 0);
  EXPECT_EQ(file.picture(), "E1024/8 E1025/4 start=20 end=72");
}

TEST_F(Update, record_that_is_too_large_is_dropped_with_success) {
  const log_file file = ring(7).entry(1024, 8).entry(1025, 4).make();
  const std::vector<uint8_t> before = file.bytes();
  EXPECT_EQ(update(file, record(1024, 9)), 0);
  EXPECT_EQ(not_found, 2);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(logged(),
            (log_lines{error("ERROR: Failed to update entry because size is bigger than entry.")}));
}

TEST_F(Update, smaller_record_leaves_the_rest_uncovered) {
  const log_file file = ring(7).entry(1024, 40).entry(1025, 4).make();
  EXPECT_EQ(update(file, record(1024, 4)), 0);
  EXPECT_EQ(file.picture(), "E1024/4 ~36 E1025/4 start=20 end=104");
}

// The padded length is cut to sixteen bits before it is compared: 65533 counts as none at all.
TEST_F(Update, record_of_65533_bytes_passes_the_size_rule) {
  const log_file file = ring(5).entry(1024, 8).entry(1025, 4).make();
  EXPECT_EQ(update(file, record(1024, 65533)), 0);
  EXPECT_EQ(not_found, 0);
  EXPECT_EQ(file.text(40, 65533), alphabet(65533));
}

TEST_F(Update, chain_that_never_reaches_its_end_is_walked_twice) {
  const log_file file = three_of_a_kind().max(104).end(60).make();
  fault_plan faults;
  EXPECT_EQ(update(file, record(1024, 8)), 0);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: File wrapping again curr 20")}));
  EXPECT_EQ(file.text(96, 8), "abcdefgh");
  EXPECT_EQ(faults.journal(),
            "lseek 20, read 20, lseek 48, read 20, lseek 76, read 20, "
            "lseek 20, read 20, lseek 48, read 20, lseek 76, read 20, "
            "lseek 76, write 20, write 8");
}

TEST_F(Update, chain_that_never_reaches_its_end_may_hold_no_match) {
  const log_file file = three_of_a_kind().max(104).end(60).make();
  EXPECT_EQ(update(file, record(1025, 8)), -1);
  EXPECT_EQ(not_found, 1);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: File wrapping again curr 20")}));
}

TEST_F(Update, matches_count_on_through_the_second_lap) {
  const log_file file = three_of_a_kind().max(104).end(60).make();
  EXPECT_EQ(update(file, record({.type = 1024, .len = 8, .instance = 5})), 0);
  EXPECT_EQ(file.text(68, 8), "abcdefgh");
  EXPECT_EQ(logged(), log_lines{});
}

TEST_F(Update, damage_ends_the_search_and_is_never_stepped_over) {
  const log_file file = ring(7).entry(1024, 8).damage(24).entry(1025, 8).make();
  const std::vector<uint8_t> before = file.bytes();
  EXPECT_EQ(update(file, record(1024, 8)), -1);
  EXPECT_EQ(not_found, 0);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: Bad ehdr at offset 48")}));
}

TEST_F(Update, instance_in_front_of_the_damage_is_still_found) {
  const log_file file = ring(7).entry(1024, 8).damage(24).make();
  EXPECT_EQ(update(file, record({.type = 1024, .len = 8, .instance = 1})), 0);
  EXPECT_EQ(file.text(40, 8), "abcdefgh");
}

TEST_F(Update, offset_of_two_gigabytes_is_refused_and_sets_code_six) {
  const log_file file = ring(7).make();
  EXPECT_EQ(vesk_check_update_type(file.fd(), 0x80000000, 20, 0xFFFFFFFF, record(1024, 8),
                                   &not_found, &code),
            -1);
  EXPECT_EQ(code, 6u);
  EXPECT_EQ(not_found, 0);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: lseek failed to seek -2147483648, errno = 22")}));
}

TEST_F(Update, seek_that_fails_otherwise_sets_no_code) {
  EXPECT_EQ(vesk_check_update_type(-1, 20, 48, 8192, record(1024, 8), &not_found, &code), -1);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(not_found, 0);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: lseek failed to seek 20, errno = 9")}));
}

TEST_F(Update, header_read_that_fails_with_a_fault_sets_code_five) {
  const log_file file = three_of_a_kind().make();
  fault_plan faults;
  faults.fail(call::read, nth(2), returns{-1}, with{EFAULT});
  EXPECT_EQ(update(file, record(1024, 8)), -1);
  EXPECT_EQ(code, 5u);
  EXPECT_EQ(not_found, 0);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: ehdr read fails errno 14")}));
}

TEST_F(Update, header_read_that_fails_otherwise_sets_no_code) {
  const log_file file = three_of_a_kind().make();
  {
    fault_plan faults;
    faults.fail(call::read, nth(1), returns{-1}, with{EBADF});
    EXPECT_EQ(update(file, record(1024, 8)), -1);
  }
  {
    fault_plan faults;
    faults.shorten(call::read, nth(1), only{19}, with{EFAULT});
    EXPECT_EQ(update(file, record(1024, 8)), -1);
  }
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: ehdr read fails errno 9"),
                                 error("ERROR: ehdr read fails errno 14")}));
}

TEST_F(Update, write_that_fails_is_reported_twice) {
  const log_file file = three_of_a_kind().make();
  fault_plan faults;
  faults.shorten(call::write, nth(1), only{19}, with{ENOSPC});
  EXPECT_EQ(update(file, record(1024, 8)), -1);
  EXPECT_EQ(code, 1u);
  EXPECT_EQ(not_found, 0);
  EXPECT_EQ(logged(),
            (log_lines{error("ERROR: Write failed ret 19 ehdr entry type 1024. errno 28."),
                       error("ERROR: Failed to update an entry at offset.")}));
}

TEST_F(Update, neither_global_header_nor_statistics_are_touched) {
  const log_file file = three_of_a_kind().make();
  const std::string before = file.hex(0, 20);
  EXPECT_EQ(update(file, record(1024, 4)), 0);
  EXPECT_EQ(file.hex(0, 20), before);
  EXPECT_EQ(vesk_uuid_stat_table[77].entry_count, 0u);
  EXPECT_EQ(vesk_uuid_stat_table[77].byte_count, 0u);
}

// --- rewriting the previous size in a header ---

class UpdateHeader : public StoreTest {
 protected:
  int32_t update(uint16_t prev_size) {
    return vesk_update_eheader(file.fd(), 20, prev_size, &code);
  }

  log_file file = ring(7).entry(1024, 8).make();
};

// A header that holds sums up to ffff. With 0018 more in it the folded sum is 0018, and its
// complement ffe7 goes where the old checksum was, which the new one then does not fit.
TEST_F(UpdateHeader, sums_with_the_old_checksum_in_place_so_that_the_header_no_longer_holds) {
  ASSERT_EQ(file.picture(), "E1024/8 start=20 end=48");
  fault_plan faults;
  EXPECT_EQ(update(24), 0);
  EXPECT_EQ(file.hex(20, 28),
            "00 4d 04 00  00 08 ff e7  00 00 00 18  5f 00 00 00  00 00 12 34  "
            "b5 b5 b5 b5  b5 b5 b5 b5");
  EXPECT_EQ(file.picture(), "!E1024/8 start=20 end=48");
  EXPECT_EQ(faults.journal(), "lseek 20, read 20, lseek 20, write 20");
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(), log_lines{});
}

TEST_F(UpdateHeader, header_still_holds_where_the_old_checksum_was_zero_or_all_ones) {
  // 004d + 0400 + 0008 + 5f00 + 8a76 + 1234 = ffff: both checksum words complete it.
  for (const uint16_t sum : {uint16_t{0x0000}, uint16_t{0xFFFF}}) {
    SCOPED_TRACE(sum);
    const log_file odd =
        ring(7).entry({.type = 1024, .size = 8, .usecs = 0x8A761234, .sum = sum}).make();
    ASSERT_EQ(odd.picture(), "E1024/8 start=20 end=48");
    EXPECT_EQ(vesk_update_eheader(odd.fd(), 20, 24, &code), 0);
    EXPECT_EQ(odd.hex(20, 20), "00 4d 04 00  00 08 ff e7  00 00 00 18  5f 00 00 00  8a 76 12 34");
    EXPECT_EQ(odd.picture(), "E1024/8 start=20 end=48");
  }
}

TEST_F(UpdateHeader, value_is_stored_as_it_is) {
  EXPECT_EQ(update(6), 0);
  EXPECT_EQ(file.hex(26, 6), "ff f9 00 00  00 06");
}

// The same previous size again changes nothing but the checksum, to the complement of ffff.
TEST_F(UpdateHeader, unchanged_value_still_costs_the_checksum) {
  EXPECT_EQ(update(0), 0);
  EXPECT_EQ(file.hex(26, 6), "00 00 00 00  00 00");
  EXPECT_EQ(file.picture(), "!E1024/8 start=20 end=48");
}

TEST_F(UpdateHeader, header_that_does_not_hold_is_left_alone) {
  const log_file damaged = ring(7).damage(40).make();
  const std::vector<uint8_t> before = damaged.bytes();
  EXPECT_EQ(vesk_update_eheader(damaged.fd(), 20, 24, &code), -1);
  EXPECT_EQ(damaged.bytes(), before);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: Bad ehdr at offset 20")}));
}

TEST_F(UpdateHeader, offset_that_is_refused_sets_code_six) {
  fault_plan faults;
  EXPECT_EQ(vesk_update_eheader(file.fd(), 0x80000000, 24, &code), -1);
  EXPECT_EQ(code, 6u);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: lseek failed to seek -2147483648, errno = 22")}));
  EXPECT_EQ(faults.journal(), "lseek -2147483648");
}

TEST_F(UpdateHeader, second_seek_may_fail_like_the_first) {
  fault_plan faults;
  faults.fail(call::lseek, nth(2), returns{-1}, with{EINVAL});
  EXPECT_EQ(update(24), -1);
  EXPECT_EQ(code, 6u);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: lseek failed to seek 20, errno = 22")}));
  EXPECT_EQ(faults.journal(), "lseek 20, read 20, lseek 20");
}

TEST_F(UpdateHeader, seek_that_fails_otherwise_sets_no_code) {
  for (const uint32_t which_seek : {1u, 2u}) {
    platform.reset();
    fault_plan faults;
    faults.fail(call::lseek, nth(which_seek), returns{-1}, with{EBADF});
    EXPECT_EQ(update(24), -1);
    EXPECT_EQ(code, untouched);
    EXPECT_EQ(logged(), (log_lines{error("ERROR: lseek failed to seek 20, errno = 9")}));
  }
}

TEST_F(UpdateHeader, read_that_fails_with_a_fault_sets_code_five) {
  fault_plan faults;
  faults.fail(call::read, nth(1), returns{-1}, with{EFAULT});
  EXPECT_EQ(update(24), -1);
  EXPECT_EQ(code, 5u);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: ehdr read fails errno 14")}));
}

TEST_F(UpdateHeader, read_that_falls_short_sets_no_code) {
  fault_plan faults;
  faults.shorten(call::read, nth(1), only{19}, with{EFAULT});
  EXPECT_EQ(update(24), -1);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: ehdr read fails errno 14")}));
  EXPECT_EQ(faults.journal(), "lseek 20, read 20");
}

TEST_F(UpdateHeader, write_that_falls_short_sets_code_one) {
  for (const size_t count : {0u, 19u}) {
    SCOPED_TRACE(count);
    const log_file fresh = ring(7).entry(1024, 8).make();
    platform.reset();
    code = untouched;
    fault_plan faults;
    faults.shorten(call::write, nth(1), only{count}, with{ENOSPC});
    EXPECT_EQ(vesk_update_eheader(fresh.fd(), 20, 24, &code), -1);
    EXPECT_EQ(code, 1u);
    EXPECT_EQ(
        logged(),
        (log_lines{error("ERROR: Write failed ret " + std::to_string(count) + " errno 28.")}));
  }
}

// Unlike in the entry writer.
TEST_F(UpdateHeader, write_that_returns_minus_one_fell_short) {
  fault_plan faults;
  faults.fail(call::write, nth(1), returns{-1}, with{ENOSPC});
  EXPECT_EQ(update(24), -1);
  EXPECT_EQ(code, 1u);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: Write failed ret -1 errno 28.")}));
}

}  // namespace
}  // namespace vesk::test
