#include "store/vesk_entry.h"

#include <unistd.h>

#include <cerrno>
#include <fstream>

#include "tests/unit/store/store_test.h"

namespace vesk::test {
namespace {

class Entry : public StoreTest {
 protected:
  int32_t add(const record &r, uint16_t prev_size = 0) {
    return vesk_add_entry(file.fd(), 20, r, prev_size, &code);
  }
  int32_t add_null(uint16_t size, uint16_t prev_size = 0) {
    return vesk_add_null_entry(file.fd(), 20, size, prev_size, &code);
  }

  log_file file = ring(7).make();
};

// --- what is written ---

TEST_F(Entry, entry_is_header_data_and_padding) {
  const record r({.uuid = 77,
                  .type = 1024,
                  .len = 5,
                  .flags = 0xA5,
                  .secs = 0x01020304,
                  .usecs = 0x05060708,
                  .data = "hello"});
  fault_plan faults;
  EXPECT_EQ(add(r, 6), 0);
  EXPECT_EQ(faults.journal(), "lseek 20, write 20, write 5, write 3");
  // 004d + 0400 + 0008 + a500 + 0008 + 0102 + 0304 + 0506 + 0708 = b971; 468e is its complement.
  EXPECT_EQ(file.hex(20, 100),
            "00 4d 04 00  00 08 46 8e  a5 00 00 08  01 02 03 04  05 06 07 08  "
            "68 65 6c 6c  6f 00 00 00");
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(), log_lines{});
}

TEST_F(Entry, what_steers_the_daemon_is_not_stored) {
  const record_fields plain{.type = 1024, .len = 4};
  record_fields steered = plain;
  steered.update = 1;
  steered.file_type = 25;
  steered.sync = 2;
  steered.reserved = 0xEE;
  steered.instance = 0xDEADBEEF;
  ASSERT_EQ(add(plain), 0);
  const std::string stored = file.hex(20, 24);
  ASSERT_EQ(add(steered), 0);
  EXPECT_EQ(file.hex(20, 24), stored);
}

TEST_F(Entry, record_without_data_is_a_header_only) {
  fault_plan faults;
  EXPECT_EQ(add(record(1024, 0)), 0);
  EXPECT_EQ(faults.journal(), "lseek 20, write 20");
  EXPECT_EQ(file.size(), 40u);
  EXPECT_EQ(file.hex(24, 2), "00 00");
}

TEST_F(Entry, one_byte_of_data_gets_three_of_padding) {
  fault_plan faults;
  EXPECT_EQ(add(record({.type = 1024, .len = 1, .data = "x"})), 0);
  EXPECT_EQ(faults.journal(), "lseek 20, write 20, write 1, write 3");
  EXPECT_EQ(file.hex(24, 2), "00 04");
  EXPECT_EQ(file.hex(40, 100), "78 00 00 00");
}

TEST_F(Entry, four_bytes_of_data_get_no_padding) {
  fault_plan faults;
  EXPECT_EQ(add(record({.type = 1024, .len = 4, .data = "wxyz"})), 0);
  EXPECT_EQ(faults.journal(), "lseek 20, write 20, write 4");
  EXPECT_EQ(file.hex(24, 2), "00 04");
  EXPECT_EQ(file.hex(40, 100), "77 78 79 7a");
}

TEST_F(Entry, position_afterwards_is_behind_the_padding) {
  ASSERT_EQ(add(record(1024, 5)), 0);
  EXPECT_EQ(lseek(file.fd(), 0, SEEK_CUR), 20 + 20 + 8);
}

TEST_F(Entry, size_of_the_largest_records_is_cut_to_zero_and_all_their_bytes_are_written) {
  for (const uint16_t len : std::initializer_list<uint16_t>{65533, 65534, 65535}) {
    SCOPED_TRACE(len);
    ASSERT_EQ(ftruncate(file.fd(), 20), 0);
    EXPECT_EQ(add(record(1024, len)), 0);
    EXPECT_EQ(file.hex(24, 2), "00 00");
    EXPECT_EQ(file.size(), 20u + 20u + 65536u);
    EXPECT_EQ(file.text(40, len), alphabet(len));
    EXPECT_EQ(file.hex(40u + len, 3), std::string("00 00 00").substr(0, (65536u - len) * 3u - 1u));
    EXPECT_TRUE(sum_holds(&file.bytes()[20]));
  }
}

TEST_F(Entry, largest_size_that_fits_the_field_is_stored_whole) {
  EXPECT_EQ(add(record(1024, 65530)), 0);
  EXPECT_EQ(file.hex(24, 2), "ff fc");
}

TEST_F(Entry, previous_size_is_rounded_up_and_cut_to_sixteen_bits) {
  const std::pair<uint16_t, const char *> cases[] = {
      {0, "00 00"}, {1, "00 04"}, {6, "00 08"}, {8, "00 08"}, {65532, "ff fc"}, {65533, "00 00"}};
  for (const auto &[prev_size, stored] : cases) {
    EXPECT_EQ(add(record(1024, 4), prev_size), 0);
    EXPECT_EQ(file.hex(30, 2), stored) << prev_size;
  }
}

TEST_F(Entry, data_of_type_zero_are_zeros_whatever_the_record_holds) {
  EXPECT_EQ(add(record({.type = 0, .len = 6, .data = "abcdef"})), 0);
  EXPECT_EQ(file.hex(40, 100), "00 00 00 00  00 00 00 00");
}

// --- a seek that fails ---

TEST_F(Entry, offset_that_is_refused_sets_code_six) {
  fault_plan faults;
  EXPECT_EQ(vesk_add_entry(file.fd(), -4, record(1024, 4), 0, &code), -1);
  EXPECT_EQ(code, 6u);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: lseek failed to seek -4, errno = 22")}));
  EXPECT_EQ(faults.journal(), "lseek -4");
}

TEST_F(Entry, seek_that_fails_otherwise_sets_no_code) {
  fault_plan faults;
  EXPECT_EQ(vesk_add_entry(-1, 20, record(1024, 4), 0, &code), -1);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: lseek failed to seek 20, errno = 9")}));
  EXPECT_EQ(faults.journal(), "lseek 20");
}

// --- a header write that falls short ---

TEST_F(Entry, header_write_that_falls_short_sets_code_one) {
  for (const size_t count : {0u, 1u, 19u}) {
    SCOPED_TRACE(count);
    platform.reset();
    code = untouched;
    fault_plan faults;
    faults.shorten(call::write, nth(1), only{count}, with{ENOSPC});
    EXPECT_EQ(add(record(1025, 8)), -1);
    EXPECT_EQ(code, 1u);
    EXPECT_EQ(logged(), (log_lines{error("ERROR: Write failed ret " + std::to_string(count) +
                                         " ehdr entry type 1025. errno 28.")}));
    EXPECT_EQ(faults.journal(), "lseek 20, write 20");
  }
}

TEST_F(Entry, header_write_that_returns_minus_one_counts_as_complete) {
  fault_plan faults;
  faults.fail(call::write, nth(1), returns{-1}, with{ENOSPC});
  EXPECT_EQ(add(record(1024, 8)), 0);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(), log_lines{});
  EXPECT_EQ(faults.journal(), "lseek 20, write 20, write 8");
}

TEST_F(Entry, header_write_that_returns_minus_one_is_all_that_a_record_without_data_needs) {
  fault_plan faults;
  faults.fail(call::write, nth(1), returns{-1}, with{EBADF});
  EXPECT_EQ(add(record(1024, 0)), 0);
  EXPECT_EQ(logged(), log_lines{});
}

TEST_F(Entry, what_was_written_of_an_entry_stays) {
  fault_plan faults;
  faults.shorten(call::write, nth(2), only{3}, with{ENOSPC});
  EXPECT_EQ(add(record({.type = 1024, .len = 8, .data = "abcdefgh"})), -1);
  EXPECT_TRUE(sum_holds(&file.bytes()[20]));
  EXPECT_EQ(file.hex(40, 100), "61 62 63");
}

// --- a data write that falls short ---

TEST_F(Entry, data_write_of_less_than_a_header_sets_code_one) {
  for (const size_t count : {0u, 3u, 19u}) {
    SCOPED_TRACE(count);
    platform.reset();
    code = untouched;
    fault_plan faults;
    faults.shorten(call::write, nth(2), only{count}, with{ENOSPC});
    EXPECT_EQ(add(record(1024, 100)), -1);
    EXPECT_EQ(code, 1u);
    EXPECT_EQ(logged(), (log_lines{error("ERROR: Write failed etype 1024 len 100 errno 28.")}));
    EXPECT_EQ(faults.journal(), "lseek 20, write 20, write 100");
  }
}

TEST_F(Entry, data_write_of_a_headers_length_or_more_sets_no_code) {
  for (const size_t count : {20u, 25u, 99u}) {
    SCOPED_TRACE(count);
    platform.reset();
    fault_plan faults;
    faults.shorten(call::write, nth(2), only{count}, with{ENOSPC});
    EXPECT_EQ(add(record(1024, 100)), -1);
    EXPECT_EQ(code, untouched);
    EXPECT_EQ(logged(), (log_lines{error("ERROR: Write failed etype 1024 len 100 errno 28.")}));
  }
}

TEST_F(Entry, data_write_short_of_a_few_bytes_sets_code_one) {
  fault_plan faults;
  faults.shorten(call::write, nth(2), only{9}, with{EFBIG});
  EXPECT_EQ(add(record(1026, 10)), -1);
  EXPECT_EQ(code, 1u);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: Write failed etype 1026 len 10 errno 27.")}));
}

TEST_F(Entry, data_write_that_fails_for_lack_of_space_sets_code_two) {
  const std::pair<int, const char *> cases[] = {
      {ENOSPC, "ERROR: Write failed etype 1024 len 100 errno 28."},
      {EFAULT, "ERROR: Write failed etype 1024 len 100 errno 14."}};
  for (const auto &[reason, text] : cases) {
    platform.reset();
    code = untouched;
    fault_plan faults;
    faults.fail(call::write, nth(2), returns{-1}, with{reason});
    EXPECT_EQ(add(record(1024, 100)), -1);
    EXPECT_EQ(code, 2u) << reason;
    EXPECT_EQ(logged(), (log_lines{error(text)}));
  }
}

TEST_F(Entry, data_write_that_fails_otherwise_sets_no_code) {
  const std::pair<int, const char *> cases[] = {
      {EBADF, "ERROR: Write failed etype 1024 len 100 errno 9."},
      {EDQUOT, "ERROR: Write failed etype 1024 len 100 errno 122."}};
  for (const auto &[reason, text] : cases) {
    platform.reset();
    fault_plan faults;
    faults.fail(call::write, nth(2), returns{-1}, with{reason});
    EXPECT_EQ(add(record(1024, 100)), -1);
    EXPECT_EQ(code, untouched) << reason;
    EXPECT_EQ(logged(), (log_lines{error(text)}));
  }
}

// A short count that is no failure leaves errno as it was: only a returned -1 means no space.
TEST_F(Entry, short_data_write_with_an_errno_of_long_ago_sets_no_code) {
  fault_plan faults;
  faults.shorten(call::write, nth(2), only{50});
  errno = ENOSPC;
  EXPECT_EQ(add(record(1024, 100)), -1);
  EXPECT_EQ(code, untouched);
}

TEST_F(Entry, io_error_is_reported_as_it_was_although_the_flash_is_remounted) {
  std::ofstream("/kyte_mounted");
  platform.clobber_errno = EDOM;
  fault_plan faults;
  faults.fail(call::write, nth(2), returns{-1}, with{EIO});
  EXPECT_EQ(add(record(1024, 100)), -1);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(errors(), (log_lines{error("ERROR: Write failed etype 1024 len 100 errno 5.")}));
  EXPECT_EQ(faults.journal(), "lseek 20, write 20, write 100, stat /kyte_mounted");
}

// --- a pad write that falls short ---

TEST_F(Entry, pad_write_that_falls_short_sets_code_one_and_prints_the_pad_count_as_len) {
  for (const size_t count : {0u, 1u, 2u}) {
    SCOPED_TRACE(count);
    platform.reset();
    code = untouched;
    fault_plan faults;
    faults.shorten(call::write, nth(3), only{count}, with{ENOSPC});
    EXPECT_EQ(add(record(1024, 5)), -1);
    EXPECT_EQ(code, 1u);
    EXPECT_EQ(logged(), (log_lines{error("ERROR: Persistent Logger : write failed to align etype "
                                         "1024 len 3, errno 28.")}));
  }
}

TEST_F(Entry, pad_write_that_returns_minus_one_counts_as_complete) {
  fault_plan faults;
  faults.fail(call::write, nth(3), returns{-1}, with{ENOSPC});
  EXPECT_EQ(add(record(1024, 5)), 0);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(), log_lines{});
}

// --- null entries ---

TEST_F(Entry, null_entry_is_the_daemons_own_with_zeros_for_data_and_the_present_time) {
  fault_plan faults;
  faults.clock(0x5F5E1000, 0x0003D090);
  EXPECT_EQ(add_null(10, 6), 0);
  EXPECT_EQ(faults.journal(), "gettimeofday, lseek 20, write 20, write 10, write 2");
  // 0125 + 0000 + 000c + 0000 + 0008 + 5f5e + 1000 + 0003 + d090 = 1412a, folded 412b; bed4 is its
  // complement.
  EXPECT_EQ(file.hex(20, 100),
            "01 25 00 00  00 0c be d4  00 00 00 08  5f 5e 10 00  00 03 d0 90  "
            "00 00 00 00  00 00 00 00  00 00 00 00");
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(), log_lines{});
}

TEST_F(Entry, null_entry_may_be_a_header_only) {
  EXPECT_EQ(add_null(0), 0);
  EXPECT_EQ(file.size(), 40u);
  EXPECT_EQ(file.hex(20, 6), "01 25 00 00  00 00");
}

TEST_F(Entry, largest_null_entry_is_zeros_throughout) {
  EXPECT_EQ(add_null(65535), 0);
  EXPECT_EQ(file.size(), 20u + 20u + 65536u);
  EXPECT_EQ(file.text(40, 65536), std::string(65536, '\0'));
}

TEST_F(Entry, null_entry_without_a_clock_writes_nothing) {
  fault_plan faults;
  faults.fail(call::gettimeofday, nth(1), returns{-1}, with{EFAULT});
  EXPECT_EQ(add_null(10), -1);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: gettimeofday() failed with errno 14.")}));
  EXPECT_EQ(faults.journal(), "gettimeofday");
  EXPECT_EQ(file.size(), 20u);
}

TEST_F(Entry, null_entry_fails_as_an_entry_does) {
  fault_plan faults;
  faults.shorten(call::write, nth(1), only{19}, with{ENOSPC});
  EXPECT_EQ(add_null(10), -1);
  EXPECT_EQ(code, 1u);
  EXPECT_EQ(vesk_add_null_entry(file.fd(), -4, 10, 0, &code), -1);
  EXPECT_EQ(code, 6u);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: Write failed ret 19 ehdr entry type 0. errno 28."),
                                 error("ERROR: lseek failed to seek -4, errno = 22")}));
}

// --- the global header ---

TEST_F(Entry, global_header_is_rewritten_whole) {
  fault_plan faults;
  EXPECT_EQ(vesk_update_gheader(file.fd(), 60, 120, 8192, 1), 0);
  EXPECT_EQ(faults.journal(), "lseek 0, write 20");
  // 7665 + 736b + 0100 + 2000 + 003c + 0078 = 10b84, folded 0b85; f47a is its complement.
  EXPECT_EQ(file.hex(0, 100), "76 65 73 6b  01 00 f4 7a  00 00 20 00  00 00 00 3c  00 00 00 78");
  EXPECT_EQ(lseek(file.fd(), 0, SEEK_CUR), 20);
  EXPECT_EQ(logged(), log_lines{});
}

TEST_F(Entry, global_header_takes_version_and_offsets_as_they_are) {
  EXPECT_EQ(vesk_update_gheader(file.fd(), 0x05060708, 0x090A0B0C, 0x01020304, 2), 0);
  // 7665 + 736b + 0200 + 0102 + 0304 + 0506 + 0708 + 090a + 0b0c = 10ffa, folded 0ffb; f004.
  EXPECT_EQ(file.hex(0, 20), "76 65 73 6b  02 00 f0 04  01 02 03 04  05 06 07 08  09 0a 0b 0c");
}

TEST_F(Entry, global_header_write_that_falls_short_fails) {
  for (const size_t count : {0u, 19u}) {
    platform.reset();
    fault_plan faults;
    faults.shorten(call::write, nth(1), only{count}, with{ENOSPC});
    EXPECT_EQ(vesk_update_gheader(file.fd(), 20, 20, 8192, 1), -1) << count;
    EXPECT_EQ(logged(), (log_lines{error("ERROR: Writing the gheader failed. errno 28.")}));
  }
}

TEST_F(Entry, global_header_write_that_returns_minus_one_counts_as_complete) {
  fault_plan faults;
  faults.fail(call::write, nth(1), returns{-1}, with{ENOSPC});
  EXPECT_EQ(vesk_update_gheader(file.fd(), 20, 20, 8192, 1), 0);
  EXPECT_EQ(logged(), log_lines{});
}

TEST_F(Entry, global_header_seek_that_fails_writes_nothing) {
  fault_plan faults;
  EXPECT_EQ(vesk_update_gheader(-1, 20, 20, 8192, 1), -1);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: lseek failed to seek 0, errno = 9")}));
  EXPECT_EQ(faults.journal(), "lseek 0");
}

}  // namespace
}  // namespace vesk::test
