#include "store/vesk_append.h"

#include <algorithm>
#include <cerrno>

#include "store/vesk_state.h"
#include "tests/unit/store/store_test.h"

namespace vesk::test {
namespace {

constexpr uint32_t small_file = 8192;  // the capacity of file type 7

class Append : public StoreTest {
 protected:
  int32_t append(const log_file &file, const record &r, uint32_t max_size = small_file) {
    return vesk_append(file.fd(), r, file.size(), max_size, &code);
  }
  static bool was_logged(const log_line &line) {
    return std::count(logged().begin(), logged().end(), line) == 1;
  }
};

// A full ring: one entry up to its end at 80, `gap` bytes of damage, and from its start on an entry
// that frees more than 4096 bytes and a null entry.
ring wrapped_with_gap(uint32_t gap) {
  return ring(7)
      .entry(1030, 40)
      .end_here()
      .damage(gap)
      .start_here()
      .entry(1024, 4500)
      .null_to_max();
}

// Two entries, the first at 20 and the second at 4040, that leave 84 bytes in front of the
// capacity.
ring with_84_bytes_left() {
  return ring(7).entry(1024, 4000).entry(1025, 4048);
}

// --- the plain case ---

TEST_F(Append, first_record_goes_to_offset_20) {
  const log_file file = ring(7).make();
  fault_plan faults;
  EXPECT_EQ(append(file, record(1024, 38)), 0);
  EXPECT_EQ(file.picture(), "E1024/40 start=20 end=80");
  EXPECT_EQ(file.text(40, 38), alphabet(38));
  EXPECT_EQ(file.hex(30, 2), "00 00");
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(), (log_lines{trace("TRACE:Before: start 20 end 20 max 8192 lastentry 20 space "
                                       "82 file_type 7\n"),
                                 trace("TRACE:After: start 20 end 80 max 8192 lastentry 20 space "
                                       "82 file_type 7\n")}));
}

TEST_F(Append, next_record_goes_behind_it_and_the_trace_before_still_says_twenty) {
  const log_file file = ring(7).entry(1024, 40).make();
  EXPECT_EQ(append(file, record({.type = 1025, .len = 8, .file_type = 25})), 0);
  EXPECT_EQ(file.picture(), "E1024/40 E1025/8 start=20 end=108");
  EXPECT_EQ(file.hex(90, 2), "00 00");  // no previous size, although there is an entry before it
  EXPECT_EQ(logged(), (log_lines{trace("TRACE:Before: start 20 end 80 max 8192 lastentry 20 space "
                                       "52 file_type 25\n"),
                                 trace("TRACE:After: start 20 end 108 max 8192 lastentry 80 space "
                                       "52 file_type 25\n")}));
}

TEST_F(Append, record_without_data_needs_44_bytes_and_occupies_20) {
  const log_file file = ring(7).make();
  EXPECT_EQ(append(file, record(1024, 0)), 0);
  EXPECT_EQ(file.picture(), "E1024/0 start=20 end=40");
  EXPECT_TRUE(was_logged(
      trace("TRACE:After: start 20 end 40 max 8192 lastentry 20 space 44 file_type 7\n")));
}

TEST_F(Append, costs_these_system_calls_and_no_others) {
  const log_file file = ring(7).make();
  const uint32_t size = file.size();
  fault_plan faults;
  EXPECT_EQ(vesk_append(file.fd(), record(1024, 38), size, small_file, &code), 0);
  EXPECT_EQ(faults.journal(),
            "lseek 0, read 20, lseek 20, write 20, write 38, write 2, lseek 0, write 20");
}

TEST_F(Append, global_header_keeps_its_capacity_and_becomes_version_one) {
  const log_file file = ring(7).max(4096).version(9).make();
  EXPECT_EQ(append(file, record(1024, 40)), 0);
  // 7665 + 736b + 0100 + 1000 + 0014 + 0050 = fb34; 04cb is its complement.
  EXPECT_EQ(file.hex(0, 20), "76 65 73 6b  01 00 04 cb  00 00 10 00  00 00 00 14  00 00 00 50");
}

// --- statistics ---

TEST_F(Append, entry_is_counted_for_its_sender_with_header_and_padding) {
  const log_file file = ring(7).make();
  EXPECT_EQ(append(file, record({.uuid = 2736, .type = 1024, .len = 5})), 0);
  EXPECT_EQ(append(file, record({.uuid = 2736, .type = 1024, .len = 8})), 0);
  EXPECT_EQ(append(file, record({.uuid = 1, .type = 1024, .len = 0})), 0);
  EXPECT_EQ(vesk_uuid_stat_table[2736].entry_count, 2u);
  EXPECT_EQ(vesk_uuid_stat_table[2736].byte_count, 28u + 28u);
  EXPECT_EQ(vesk_uuid_stat_table[1].entry_count, 1u);
  EXPECT_EQ(vesk_uuid_stat_table[1].byte_count, 20u);
  EXPECT_EQ(vesk_uuid_stat_table[0].entry_count, 0u);
}

TEST_F(Append, entry_stays_counted_when_the_global_header_cannot_be_written) {
  const log_file file = ring(7).make();
  fault_plan faults;
  faults.shorten(call::write, nth(3), only{19}, with{ENOSPC});
  EXPECT_EQ(append(file, record(1024, 40)), -1);
  EXPECT_EQ(vesk_uuid_stat_table[77].entry_count, 1u);
  EXPECT_EQ(vesk_uuid_stat_table[77].byte_count, 60u);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(errors(), (log_lines{error("ERROR: Writing the gheader failed. errno 28."),
                                 error("ERROR: Updating of the global header failed.")}));
  EXPECT_FALSE(was_logged(
      trace("TRACE:After: start 20 end 80 max 8192 lastentry 20 space 84 file_type 7\n")));
}

TEST_F(Append, entry_stays_counted_when_the_global_header_cannot_be_sought) {
  const log_file file = ring(7).make();
  fault_plan faults;
  faults.fail(call::lseek, nth(3), returns{-1}, with{EBADF});
  EXPECT_EQ(append(file, record(1024, 40)), -1);
  EXPECT_EQ(vesk_uuid_stat_table[77].entry_count, 1u);
  EXPECT_EQ(code, untouched);  // code 4 is for the first seek alone
  EXPECT_EQ(errors(), (log_lines{error("ERROR: lseek failed to seek 0, errno = 9"),
                                 error("ERROR: Updating of the global header failed.")}));
}

TEST_F(Append, entry_that_cannot_be_written_is_not_counted_and_moves_nothing) {
  const log_file file = ring(7).make();
  fault_plan faults;
  faults.fail(call::write, nth(2), returns{-1}, with{ENOSPC});
  EXPECT_EQ(append(file, record(1024, 40)), -1);
  EXPECT_EQ(code, 2u);
  EXPECT_EQ(vesk_uuid_stat_table[77].entry_count, 0u);
  EXPECT_EQ(vesk_uuid_stat_table[77].byte_count, 0u);
  EXPECT_EQ(file.picture(), "start=20 end=20");
  EXPECT_EQ(errors(), (log_lines{error("ERROR: Write failed etype 1024 len 40 errno 28."),
                                 error("ERROR: Failed to add the new entry.")}));
}

// A write of the global header that returns -1 counts as complete, and the old header stays.
TEST_F(Append, global_header_write_that_returns_minus_one_is_success) {
  const log_file file = ring(7).make();
  fault_plan faults;
  faults.fail(call::write, nth(3), returns{-1}, with{ENOSPC});
  EXPECT_EQ(append(file, record(1024, 40)), 0);
  EXPECT_EQ(file.picture(), "start=20 end=20");
  EXPECT_EQ(errors(), log_lines{});
}

// --- what is refused before anything is written ---

TEST_F(Append, file_larger_than_its_capacity_is_refused_unread) {
  const log_file file = ring(7).make();
  fault_plan faults;
  EXPECT_EQ(vesk_append(file.fd(), record(1024, 40), 8193, small_file, &code), -1);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: File size 8193 is greater than the max size 8192 "
                                       "for ftype 7")}));
  EXPECT_EQ(faults.journal(), "");
  EXPECT_EQ(code, untouched);
}

TEST_F(Append, seek_on_a_bad_descriptor_sets_code_four) {
  EXPECT_EQ(vesk_append(-1, record(1024, 40), 20, small_file, &code), -1);
  EXPECT_EQ(code, 4u);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: lseek failed to seek 0, errno = 9")}));
}

TEST_F(Append, seek_that_fails_otherwise_sets_no_code) {
  const log_file file = ring(7).make();
  fault_plan faults;
  faults.fail(call::lseek, nth(1), returns{-1}, with{EINVAL});
  EXPECT_EQ(append(file, record(1024, 40)), -1);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: lseek failed to seek 0, errno = 22")}));
}

TEST_F(Append, global_header_read_that_fails_with_a_fault_sets_code_five) {
  const log_file file = ring(7).make();
  fault_plan faults;
  faults.fail(call::read, nth(1), returns{-1}, with{EFAULT});
  EXPECT_EQ(append(file, record(1024, 40)), -1);
  EXPECT_EQ(code, 5u);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: ghdr read fails errno 14.")}));
}

TEST_F(Append, global_header_read_that_fails_otherwise_sets_no_code) {
  const log_file file = ring(7).make();
  {
    fault_plan faults;
    faults.fail(call::read, nth(1), returns{-1}, with{EBADF});
    EXPECT_EQ(append(file, record(1024, 40)), -1);
  }
  {
    fault_plan faults;
    faults.shorten(call::read, nth(1), only{19}, with{EFAULT});
    EXPECT_EQ(append(file, record(1024, 40)), -1);
    EXPECT_EQ(faults.journal(), "lseek 0, read 20");
  }
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: ghdr read fails errno 9."),
                                 error("ERROR: ghdr read fails errno 14.")}));
}

TEST_F(Append, global_header_that_does_not_hold_is_reported_with_an_errno_of_long_ago) {
  const log_file file = ring(7).patch(6, {0xDA, 0x4A}).make();
  errno = EDOM;
  EXPECT_EQ(append(file, record(1024, 40)), -1);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(file.size(), 20u);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: ghdr may be corrupt 33")}));
}

TEST_F(Append, offsets_beyond_the_capacity_are_refused) {
  {
    const log_file file = ring(7).start(8193).make();
    EXPECT_EQ(append(file, record(1024, 40)), -1);
  }
  {
    const log_file file = ring(7).end(8196).make();
    EXPECT_EQ(append(file, record(1024, 40)), -1);
  }
  {
    const log_file file = ring(7).end(0xFFFFFFFF).make();
    EXPECT_EQ(append(file, record(1024, 40)), -1);
  }
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: start 8193 or end 20 cant more than max 8192 ?"),
                                 error("ERROR: start 20 or end 8196 cant more than max 8192 ?"),
                                 error("ERROR: start 20 or end -1 cant more than max 8192 ?")}));
}

TEST_F(Append, start_at_the_capacity_itself_is_let_through) {
  const log_file file = ring(7).damage_to(8192).start(8192).end(20).make();
  EXPECT_EQ(append(file, record(1024, 40)), 0);
  EXPECT_EQ(errors(), log_lines{});
}

// A ring that is full by its own header, at half of what the catalogue says.
ring wrapped_at_4096() {
  return ring(7).max(4096).entry(1030, 40).end_here().damage(400).start_here().null_to_max();
}

TEST_F(Append, wrapped_file_below_its_catalogue_size_is_refused_and_not_written) {
  const log_file file = wrapped_at_4096().make();
  ASSERT_EQ(file.size(), 4096u);
  fault_plan faults;
  EXPECT_EQ(append(file, record(1024, 40)), -1);
  EXPECT_EQ(faults.journal(), "lseek 0, read 20");
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(),
            (log_lines{error("ERROR: File already wrapped but file size 4096 is not equal "
                             "to the max size 8192 start 480 end 80 ftype 7")}));
}

TEST_F(Append, wrapped_file_is_measured_by_the_catalogue_and_not_by_its_header) {
  const log_file file = wrapped_at_4096().make();
  EXPECT_EQ(append(file, record(1024, 40), 4096), 0);
  EXPECT_EQ(file.picture(), "N/3596 | E1030/40 E1024/40 start=480 end=140");
}

TEST_F(Append, file_that_is_not_wrapped_may_be_of_any_size) {
  const log_file file = ring(7).entry(1024, 40).end_here().damage(400).make();
  EXPECT_EQ(append(file, record(1025, 40)), 0);
  EXPECT_EQ(file.picture(), "E1024/40 E1025/40 start=20 end=140");
}

// --- records that update an entry ---

TEST_F(Append, update_rewrites_its_entry_and_appends_nothing) {
  const log_file file = ring(7).entry(1024, 8).entry(1025, 8).make();
  EXPECT_EQ(append(file, record({.type = 1024, .len = 8, .update = 1})), 0);
  EXPECT_EQ(file.text(40, 8), "abcdefgh");
  EXPECT_EQ(file.picture(), "E1024/8 E1025/8 start=20 end=76");
  EXPECT_EQ(vesk_uuid_stat_table[77].entry_count, 0u);
  EXPECT_EQ(logged(), log_lines{});
}

TEST_F(Append, update_without_an_entry_is_appended) {
  const log_file file = ring(7).entry(1024, 8).make();
  EXPECT_EQ(append(file, record({.type = 1025, .len = 8, .update = 1})), 0);
  EXPECT_EQ(file.picture(), "E1024/8 E1025/8 start=20 end=76");
  EXPECT_EQ(vesk_uuid_stat_table[77].entry_count, 1u);
  EXPECT_EQ(logged(), (log_lines{trace("TRACE:Didn't find entry to update Going to append\n"),
                                 trace("TRACE:Before: start 20 end 48 max 8192 lastentry 20 space "
                                       "52 file_type 7\n"),
                                 trace("TRACE:After: start 20 end 76 max 8192 lastentry 48 space "
                                       "52 file_type 7\n")}));
}

TEST_F(Append, update_in_an_empty_file_is_appended) {
  const log_file file = ring(7).make();
  EXPECT_EQ(append(file, record({.type = 1025, .len = 8, .update = 1})), 0);
  EXPECT_EQ(file.picture(), "E1025/8 start=20 end=48");
}

TEST_F(Append, update_that_is_too_large_is_dropped_with_success) {
  const log_file file = ring(7).entry(1024, 8).make();
  EXPECT_EQ(append(file, record({.type = 1024, .len = 9, .update = 1})), 0);
  EXPECT_EQ(file.picture(), "E1024/8 start=20 end=48");
  EXPECT_EQ(file.size(), 48u);
  EXPECT_EQ(logged(),
            (log_lines{error("ERROR: Failed to update entry because size is bigger than entry.")}));
}

TEST_F(Append, update_that_meets_damage_is_neither_stored_nor_appended) {
  const log_file file = ring(7).damage(40).entry(1024, 8).make();
  const std::vector<uint8_t> before = file.bytes();
  EXPECT_EQ(append(file, record({.type = 1024, .len = 8, .update = 1})), -1);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(), (log_lines{error("ERROR: Bad ehdr at offset 20")}));
}

TEST_F(Append, update_that_cannot_be_written_is_not_appended) {
  const log_file file = ring(7).entry(1024, 8).make();
  fault_plan faults;
  faults.shorten(call::write, nth(1), only{19}, with{ENOSPC});
  EXPECT_EQ(append(file, record({.type = 1024, .len = 8, .update = 1})), -1);
  EXPECT_EQ(code, 1u);
  EXPECT_EQ(logged().back(), error("ERROR: Failed to update an entry at offset."));
}

TEST_F(Append, only_an_update_byte_of_one_means_an_update) {
  const log_file file = ring(7).entry(1024, 8).make();
  EXPECT_EQ(append(file, record({.type = 1024, .len = 8, .update = 2})), 0);
  EXPECT_EQ(file.picture(), "E1024/8 E1024/8 start=20 end=76");
}

// --- the end of the file ---

TEST_F(Append, record_that_needs_exactly_the_bytes_left_does_not_wrap) {
  const log_file file = with_84_bytes_left().make();
  EXPECT_EQ(append(file, record(1026, 40)), 0);
  EXPECT_EQ(file.picture(), "E1024/4000 E1025/4048 E1026/40 start=20 end=8168");
}

TEST_F(Append, one_byte_more_covers_the_tail_and_wraps) {
  const log_file file = with_84_bytes_left().make();
  const uint32_t size = file.size();
  fault_plan faults;
  EXPECT_EQ(vesk_append(file.fd(), record(1026, 41), size, small_file, &code), 0);
  EXPECT_EQ(faults.journal(),
            "lseek 0, read 20, lseek 20, read 20, lseek 4040, read 20, "
            "gettimeofday, lseek 8108, write 20, write 64, "
            "lseek 20, write 20, write 41, write 3, lseek 0, write 20");
  EXPECT_EQ(file.size(), 8192u);
  EXPECT_EQ(file.picture(), "N/64 | E1026/44 start=8108 end=84");
  EXPECT_EQ(file.hex(8118, 2), "00 00");
  EXPECT_EQ(file.hex(30, 2), "00 40");  // the size of the null entry
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(),
            (log_lines{trace("TRACE:Before: start 20 end 8108 max 8192 lastentry 20 space 85 "
                             "file_type 7\n"),
                       trace("TRACE:File reaching end need space. 85"),
                       trace("TRACE:making space, nstart 20 nspace 4096.\n"),
                       trace("TRACE:No space at the end.Added null entry and wrapped. end 20\n"),
                       trace("TRACE:After: start 8108 end 84 max 8192 lastentry 20 space 85 "
                             "file_type 7\n")}));
}

TEST_F(Append, large_record_makes_as_much_space_as_it_needs) {
  const log_file file = with_84_bytes_left().make();
  EXPECT_EQ(append(file, record(1026, 4053)), 0);
  EXPECT_TRUE(was_logged(trace("TRACE:making space, nstart 20 nspace 4097.\n")));
  EXPECT_EQ(file.picture(), "N/64 | E1026/4056 start=8108 end=4096");
}

TEST_F(Append, space_is_made_in_steps_of_at_least_4096_bytes) {
  const log_file file = with_84_bytes_left().make();
  EXPECT_EQ(append(file, record(1026, 4052)), 0);
  EXPECT_TRUE(was_logged(trace("TRACE:making space, nstart 20 nspace 4096.\n")));
}

TEST_F(Append, space_that_cannot_be_made_at_the_end_leaves_the_tail_alone) {
  const log_file file = with_84_bytes_left().damage_at(20, 20).make();
  const std::vector<uint8_t> before = file.bytes();
  EXPECT_EQ(append(file, record({.type = 1026, .len = 41, .sync = 2})), -1);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(errors(), (log_lines{error("ERROR: make space - Bad ehdr at offset 20"),
                                 error("ERROR: Cannot make space for the new entry")}));
}

TEST_F(Append, tail_that_cannot_be_covered_is_a_failure) {
  const log_file file = with_84_bytes_left().make();
  fault_plan faults;
  faults.shorten(call::write, nth(1), only{19}, with{ENOSPC});
  EXPECT_EQ(append(file, record(1026, 41)), -1);
  EXPECT_EQ(code, 1u);
  EXPECT_EQ(vesk_uuid_stat_table[77].entry_count, 0u);
  EXPECT_EQ(file.hex(12, 8), "00 00 00 14  00 00 1f ac");
  EXPECT_EQ(errors(), (log_lines{error("ERROR: Write failed ret 19 ehdr entry type 0. errno 28."),
                                 error("ERROR: Failed to add a null entry at the end.")}));
}

// 65576 bytes are left and 65579 are needed. The null entry would have 65556 bytes: 20 after the
// cut to sixteen bits. The new entry's size is cut to 0, the new end and the statistics are not.
TEST_F(Append, largest_record_at_the_end_is_cut_in_the_headers_alone) {
  ring r(5);
  for (int i = 0; i < 16; ++i) r.entry(1024, 60000);
  const log_file file = r.entry(1025, 22640).make();
  ASSERT_EQ(file.size(), 983000u);
  EXPECT_EQ(append(file, record({.type = 1026, .len = 65535, .file_type = 5}), 0x100000), 0);
  EXPECT_EQ(file.hex(983000, 6), "01 25 00 00  00 14");
  EXPECT_EQ(file.hex(24, 2), "00 00");
  EXPECT_EQ(file.hex(30, 2), "00 14");
  EXPECT_EQ(file.text(40, 65535), alphabet(65535));
  EXPECT_EQ(vesk_uuid_stat_table[77].byte_count, 65556u);
  EXPECT_TRUE(was_logged(trace("TRACE:making space, nstart 20 nspace 65579.\n")));
  EXPECT_TRUE(
      was_logged(trace("TRACE:After: start 120060 end 65576 max 1048576 lastentry 20 space "
                       "65579 file_type 5\n")));
  EXPECT_EQ(file.hex(12, 8), "00 01 d4 fc  00 01 00 28");
}

// --- the oldest entries in the way ---

TEST_F(Append, record_that_needs_exactly_the_bytes_up_to_the_start_makes_no_space) {
  const log_file file = wrapped_with_gap(84).make();
  EXPECT_EQ(append(file, record(1031, 40)), 0);
  EXPECT_EQ(file.picture(), "E1024/4500 N/3488 | E1030/40 E1031/40 start=164 end=140");
}

TEST_F(Append, one_byte_more_discards_the_oldest_entries) {
  const log_file file = wrapped_with_gap(84).make();
  EXPECT_EQ(append(file, record(1031, 41)), 0);
  EXPECT_EQ(file.picture(), "N/3488 | E1030/40 E1031/44 start=4684 end=144");
  EXPECT_EQ(logged(),
            (log_lines{trace("TRACE:Before: start 164 end 80 max 8192 lastentry 20 space "
                             "85 file_type 7\n"),
                       trace("TRACE:File already wrapped. Space needed 85"),
                       trace("TRACE:making space, nstart 164 nspace 4096.\n"),
                       trace("TRACE:No space, made some. New start 4684\n"),
                       trace("TRACE:After: start 4684 end 144 max 8192 lastentry 80 space "
                             "85 file_type 7\n")}));
}

// 40 bytes are left up to the start and 192 up to the capacity. The walk from 8040 passes the
// ring's end and discards the first entry behind it.
TEST_F(Append, space_is_made_once_when_both_the_start_and_the_end_are_in_the_way) {
  const log_file file = ring(7)
                            .entry(1024, 4200)
                            .entry(1025, 3740)
                            .end_here()
                            .damage(40)
                            .start_here()
                            .entry(1026, 132)
                            .make();
  ASSERT_EQ(file.size(), 8192u);
  EXPECT_EQ(append(file, record(1027, 200)), 0);
  EXPECT_EQ(file.picture(), "E1025/3740 N/172 | E1027/200 start=4240 end=240");
  EXPECT_EQ(logged(),
            (log_lines{trace("TRACE:Before: start 8040 end 8000 max 8192 lastentry 20 space 244 "
                             "file_type 7\n"),
                       trace("TRACE:File already wrapped. Space needed 244"),
                       trace("TRACE:making space, nstart 8040 nspace 4096.\n"),
                       trace("TRACE:No space, made some. New start 4240\n"),
                       trace("TRACE:File reaching end need space. 244"),
                       trace("TRACE:No space at the end.Added null entry and wrapped. end 20\n"),
                       trace("TRACE:After: start 4240 end 240 max 8192 lastentry 20 space 244 "
                             "file_type 7\n")}));
}

// --- damage among the oldest entries ---

// As wrapped_with_gap(40), but the first 40 bytes of the live region are damage too.
ring wrapped_onto_damage() {
  return ring(7)
      .entry(1030, 40)
      .end_here()
      .damage(40)
      .start_here()  // 120
      .damage(40)
      .entry(1024, 4500)
      .null_to_max();
}

TEST_F(Append, damage_is_stepped_over_and_covered_for_an_ordinary_record) {
  for (const uint8_t sync : {uint8_t{0}, uint8_t{1}, uint8_t{3}}) {
    SCOPED_TRACE(int{sync});
    const log_file file = wrapped_onto_damage().make();
    EXPECT_EQ(append(file, record({.type = 1031, .len = 40, .sync = sync})), 0);
    EXPECT_EQ(file.picture(), "N/3492 | E1030/40 E1031/40 start=4680 end=140");
  }
}

TEST_F(Append, damage_is_fatal_for_a_synchronous_record) {
  const log_file file = wrapped_onto_damage().make();
  const std::vector<uint8_t> before = file.bytes();
  EXPECT_EQ(append(file, record({.type = 1031, .len = 40, .sync = 2})), -1);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(vesk_uuid_stat_table[77].entry_count, 0u);
  EXPECT_EQ(errors(), (log_lines{error("ERROR: make space - Bad ehdr at offset 120"),
                                 error("ERROR: Cannot make space for the new entry")}));
}

TEST_F(Append, code_of_a_failed_space_making_is_handed_up) {
  const log_file file = wrapped_onto_damage().make();
  fault_plan faults;
  faults.fail(call::gettimeofday, nth(1), returns{-1}, with{EFAULT});
  EXPECT_EQ(append(file, record(1031, 40)), -1);
  EXPECT_EQ(code, 3u);
  EXPECT_EQ(errors().back(), error("ERROR: Cannot make space for the new entry"));
}

// The writes are header and data of the null entry, the header behind it, the new entry's header.
TEST_F(Append, repairs_stay_when_the_entry_fails_behind_them) {
  const log_file file = wrapped_onto_damage().make();
  fault_plan faults;
  faults.shorten(call::write, nth(4), only{0}, with{ENOSPC});
  EXPECT_EQ(append(file, record(1031, 40)), -1);
  EXPECT_EQ(code, 1u);
  EXPECT_EQ(file.picture(), "N/20 !E1024/4500 N/3492 | E1030/40 start=120 end=80");
  EXPECT_EQ(errors().back(), error("ERROR: Failed to add the new entry."));
}

// --- many records ---

// Records of 40 bytes and the small file. Each entry occupies 60 bytes and needs 84, so entries are
// appended while end <= 8192 - 84 = 8108: at 20, 80, ... 8060, which are slots 0 to 134, 135
// entries a lap. Then end = 8120, a null entry of 8192 - 8120 - 20 = 52 bytes covers the tail, and
// the next entry goes to slot 0.
//
// At the first wrap, start = 20. 4096 bytes are freed by 69 entries (68 make 4080), so start =
// 20 + 69 * 60 = 4160. In the second lap, end = 4100 leaves only 60 bytes in front of the start.
// The walk from 4160 frees 66 entries, 3960 bytes, passes the ring's end over the null entry, and
// counts again: 69 entries from 20 on, 68 new ones and a left-over of the first lap, which brings
// it back to 4160. The entry at 4100 then makes end = start = 4160, so that all before it are lost,
// and the next wrap finds start = 4160 again: its walk is the same, and so is every later lap.
//
// The fifth wrap comes with entry 5 * 135 + 1 = 676. After 685 entries lap five holds the slots
// from 69 on, entries 4 * 135 + 69 + 1 = 610 to 675, then comes the null entry, and lap six holds
// the first ten slots, entries 676 to 685.
TEST_F(Append, small_ring_that_wrapped_five_times_holds_exactly_these_entries) {
  const log_file file = ring(7).make();
  for (uint16_t i = 1; i <= 685; ++i) {
    ASSERT_EQ(append(file, record(static_cast<uint16_t>(2000 + i), 40)), 0) << i;
  }
  std::string expected;
  for (int i = 610; i <= 675; ++i) expected += "E" + std::to_string(2000 + i) + "/40 ";
  expected += "N/52 | ";
  for (int i = 676; i <= 685; ++i) expected += "E" + std::to_string(2000 + i) + "/40 ";
  EXPECT_EQ(file.picture(), expected + "start=4160 end=620");
  EXPECT_EQ(file.size(), 8192u);
  EXPECT_EQ(errors(), log_lines{});
  EXPECT_EQ(std::count(logged().begin(), logged().end(),
                       trace("TRACE:No space at the end.Added null entry and wrapped. end 20\n")),
            5);
}

// The same ring in its second lap, after 135 + 68 and after 135 + 69 entries.
TEST_F(Append, space_made_all_round_the_ring_can_leave_it_empty) {
  const log_file file = ring(7).make();
  for (uint16_t i = 1; i <= 203; ++i) {
    ASSERT_EQ(append(file, record(static_cast<uint16_t>(2000 + i), 40)), 0) << i;
  }
  EXPECT_EQ(file.hex(12, 8), "00 00 10 40  00 00 10 04");  // start 4160, end 4100
  ASSERT_EQ(append(file, record(2204, 40)), 0);
  EXPECT_EQ(file.picture(), "start=4160 end=4160");
}

// Whatever the lengths, and whether a record is stored or refused: the file never outgrows its
// capacity, and its global header holds and points into it.
TEST_F(Append, nothing_is_ever_written_beyond_the_capacity) {
  const log_file file = ring(7).make();
  uint32_t random = 1;
  int stored = 0;
  for (int i = 0; i < 3000; ++i) {
    random = random * 1103515245 + 12345;
    const uint16_t len = static_cast<uint16_t>((random >> 16) % 300);
    stored += append(file, record(1024, len)) == 0;
    ASSERT_LE(file.size(), 8192u) << i;
    const std::vector<uint8_t> header = file.bytes();
    ASSERT_TRUE(sum_holds(header.data())) << i;
    ASSERT_LE(header[14] << 8 | header[15], 8192 - 21) << i;
    ASSERT_LE(header[18] << 8 | header[19], 8192 - 21) << i;
    platform.forget();
  }
  EXPECT_GT(stored, 0);
}

}  // namespace
}  // namespace vesk::test
