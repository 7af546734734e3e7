#include "daemon/vesk_request.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "daemon/vesk_flash_control.h"
#include "store/vesk_state.h"
#include "tests/support/faults.h"
#include "tests/support/intercept.h"
#include "tests/support/log_file.h"
#include "tests/support/record.h"
#include "tests/support/ring_builder.h"
#include "tests/unit/daemon/daemon_test.h"

namespace vesk::test {

namespace {

constexpr uint16_t vesk_type = 5;         // vesk.log, of 1 MiB
constexpr uint16_t temperature_type = 7;  // temperature_err.log, the only file of 8 KiB
constexpr char vesk_log[] = "/mnt/vesk/vesk.log";
constexpr char temperature_log[] = "/mnt/vesk/temperature_err.log";

const lines removal = {"execute_program_and_let_go(/bin/rm, /mnt/vesk/vesk.log)",
                       "100 TRACE: result of delete operation for file /mnt/vesk/vesk.log is 0\n",
                       "101 ERROR: /mnt/vesk/vesk.log was removed due to errors"};
const lines missing = {"101 ERROR: Error acquiring status for /mnt/vesk/vesk.log, errno 2"};
const lines append_failed = {"101 ERROR: vesk append failed \n"};

// What the append of the good record traces.
const lines first_append = {
    "100 TRACE:Before: start 20 end 20 max 1048576 lastentry 20 space 49 file_type 5\n",
    "100 TRACE:After: start 20 end 48 max 1048576 lastentry 20 space 49 file_type 5\n"};

}  // namespace

struct Request : daemon_test {
  record_fields good = {.uuid = 25, .len = 5, .file_type = vesk_type, .data = "hello"};

  void SetUp() override {
    daemon_test::SetUp();
    vesk_file_state.fill(VESK_LOGGING_ENABLED);
    vesk_module_id = 6;
  }
  void TearDown() override {
    daemon_test::TearDown();
    append_instead = nullptr;
  }

  void expect_refused(const record_fields &fields, const log_lines &told) {
    platform.forget();
    EXPECT_EQ(vesk_do_vesk(record(fields)), -1);
    EXPECT_EQ(platform.history, told);
    EXPECT_EQ(platform.calls, lines());
    EXPECT_FALSE(exists(vesk_log));
  }
  void expect_taken(const record_fields &fields) {
    EXPECT_EQ(vesk_do_vesk(record(fields)), 0);
    EXPECT_EQ(picture_of(vesk_log), "E" + std::to_string(fields.type) + "/8 start=20 end=48");
  }

  // The file itself is gone afterwards.
  static std::string picture_of(const char *path) { return log_file(path).picture(); }

  static void append_returns(int32_t result, uint32_t code) {
    append_instead = [=](int32_t, const vesk_log_req *, uint32_t, uint32_t, uint32_t *error_code) {
      *error_code = code;
      return result;
    };
  }
};

// What is refused before any file is looked at.

TEST_F(Request, file_types_outside_1_to_38_are_refused) {
  good.file_type = 0;
  expect_refused(good, {error("ERROR: Not a valid file type 0")});
  good.file_type = 39;
  expect_refused(good, {error("ERROR: Not a valid file type 39")});
  good.file_type = 65535;
  expect_refused(good, {error("ERROR: Not a valid file type 65535")});
}

TEST_F(Request, file_types_without_a_file_are_refused_without_a_message) {
  for (const uint16_t file_type : each<uint16_t>{38, 37, 32, 8}) {
    good.file_type = file_type;
    expect_refused(good, {});
  }
}

TEST_F(Request, a_disabled_type_drops_its_records_at_trace_level) {
  vesk_file_state[vesk_type] = VESK_LOGGING_DISABLED;
  expect_refused(good, {trace("TRACE:Dropping the entry because File Type 5 is Disabled formodule "
                              "6")});
}

TEST_F(Request, a_disabled_type_drops_malformed_records_as_quietly) {
  vesk_file_state[vesk_type] = VESK_LOGGING_DISABLED;
  expect_refused({.uuid = 0, .type = 0, .len = 0, .file_type = vesk_type},
                 {trace("TRACE:Dropping the entry because File Type 5 is Disabled formodule 6")});
}

TEST_F(Request, any_other_state_lets_records_through) {
  for (const uint8_t state : each<uint8_t>{0, 1, 3, 255}) {
    vesk_file_state[vesk_type] = state;
    expect_taken(good);
  }
}

TEST_F(Request, the_file_type_is_checked_before_its_state) {
  vesk_file_state.fill(VESK_LOGGING_DISABLED);
  good.file_type = 39;
  expect_refused(good, {error("ERROR: Not a valid file type 39")});
}

TEST_F(Request, object_types_below_1024_are_refused) {
  for (const uint16_t type : each<uint16_t>{0, 1, 1023}) {
    good.type = type;
    expect_refused(good,
                   {error("ERROR: Unknown object type " + std::to_string(type) + " requested.")});
  }
}

TEST_F(Request, object_types_from_1024_on_are_taken) {
  for (const uint16_t type : each<uint16_t>{1024, 65535}) {
    good.type = type;
    expect_taken(good);
  }
}

TEST_F(Request, a_record_without_data_is_refused) {
  expect_refused({.type = 1030, .len = 0, .file_type = vesk_type},
                 {error("ERROR: Zero length for obj 1030")});
}

TEST_F(Request, uuids_outside_1_to_2736_are_refused) {
  for (const uint16_t uuid : each<uint16_t>{0, 2737, 65535}) {
    good.uuid = uuid;
    expect_refused(good, {error("ERROR:  UUID out of range cannot get file name \n ")});
  }
}

TEST_F(Request, uuids_from_1_to_2736_are_taken) {
  for (const uint16_t uuid : each<uint16_t>{1, 2736}) {
    good.uuid = uuid;
    expect_taken(good);
  }
}

TEST_F(Request, the_object_type_is_checked_before_the_length_and_that_before_the_uuid) {
  expect_refused({.uuid = 0, .type = 1, .len = 0, .file_type = vesk_type},
                 {error("ERROR: Unknown object type 1 requested.")});
  expect_refused({.uuid = 0, .type = 1024, .len = 0, .file_type = vesk_type},
                 {error("ERROR: Zero length for obj 1024")});
}

TEST_F(Request, the_uuid_is_checked_before_the_file_is_looked_up) {
  good.uuid = 0;
  good.file_type = 38;
  expect_refused(good, {error("ERROR:  UUID out of range cannot get file name \n ")});
}

TEST_F(Request, a_record_that_can_never_fit_is_refused_before_its_file_is_touched) {
  fault_plan plan;
  expect_refused({.len = 8129, .file_type = temperature_type},
                 {error("ERROR: Record of 8129 bytes can't fit in file type 7 of 8192 bytes")});
  expect_refused({.len = 65535, .file_type = temperature_type},
                 {error("ERROR: Record of 65535 bytes can't fit in file type 7 of 8192 bytes")});
  EXPECT_EQ(plan.journal(), "");
}

TEST_F(Request, the_largest_record_that_fits_is_taken) {
  EXPECT_EQ(vesk_do_vesk(record({.len = 8128, .file_type = temperature_type})), 0);
  EXPECT_EQ(picture_of(temperature_log), "E1024/8128 start=20 end=8168");
}

// The file comes into being.

TEST_F(Request, the_first_record_creates_its_file_byte_for_byte) {
  EXPECT_EQ(vesk_do_vesk(record({.uuid = 25,
                                 .type = 1024,
                                 .len = 5,
                                 .flags = 2,
                                 .secs = 0x5F000001,
                                 .usecs = 0x000186A0,
                                 .file_type = vesk_type,
                                 .data = "hello"})),
            0);
  EXPECT_EQ(read_file(vesk_log), hex("76 65 73 6B 01 00 14 DB 00 10 00 00 00 00 00 14 00 00 00 30"
                                     "00 19 04 00 00 08 14 3C 02 00 00 00 5F 00 00 01 00 01 86 A0"
                                     "68 65 6C 6C 6F 00 00 00"));
  EXPECT_EQ(platform.journal, missing + first_append);
}

TEST_F(Request, the_first_record_costs_these_system_calls_and_no_others) {
  fault_plan plan;
  vesk_do_vesk(record(good));
  EXPECT_EQ(plan.journal(),
            "stat /mnt/vesk/vesk.log, open /mnt/vesk/vesk.log, lseek 0, write 20, "
            "lseek 0, read 20, lseek 20, write 20, write 5, write 3, lseek 0, write 20, close");
}

TEST_F(Request, a_file_is_created_with_mode_0644) {
  const mode_t mask = umask(0);
  vesk_do_vesk(record(good));
  umask(mask);
  struct stat st {};
  ASSERT_EQ(stat(vesk_log, &st), 0);
  EXPECT_EQ(st.st_mode & 07777u, 0644u);
}

TEST_F(Request, each_type_gets_its_own_file_and_capacity) {
  EXPECT_EQ(vesk_do_vesk(record({.len = 4, .file_type = 36})), 0);
  EXPECT_EQ(log_file("/mnt/vesk/btcm.log").hex(8, 4), "00 04 00 00");
  EXPECT_EQ(vesk_do_vesk(record({.len = 4, .file_type = 22})), 0);
  EXPECT_EQ(log_file("/mnt/vesk/kernel_big.log").hex(8, 4), "00 80 00 00");
}

TEST_F(Request, later_records_are_appended_without_a_complaint) {
  vesk_do_vesk(record(good));
  platform.forget();
  good.type = 1025;
  EXPECT_EQ(vesk_do_vesk(record(good)), 0);
  EXPECT_EQ(platform.journal,
            lines({"100 TRACE:Before: start 20 end 48 max 1048576 lastentry 20 space 49 "
                   "file_type 5\n",
                   "100 TRACE:After: start 20 end 76 max 1048576 lastentry 48 space 49 "
                   "file_type 5\n"}));
  EXPECT_EQ(picture_of(vesk_log), "E1024/8 E1025/8 start=20 end=76");
}

TEST_F(Request, an_update_rewrites_the_entry_where_it_lies) {
  const log_file file = ring(vesk_type).entry(1024, 8).entry(1025, 8).make();
  EXPECT_EQ(
      vesk_do_vesk(record({.len = 8, .update = 1, .file_type = vesk_type, .data = "HELLO..!"})), 0);
  EXPECT_EQ(file.picture(), "E1024/8 E1025/8 start=20 end=76");
  EXPECT_EQ(file.text(40, 8), "HELLO..!");
}

// The status of the file.

TEST_F(Request, an_io_error_of_the_status_remounts_twice_and_goes_on_without_the_file) {
  fault_plan plan;
  plan.fail(call::stat, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(vesk_do_vesk(record(good)), 0);
  EXPECT_EQ(platform.journal,
            remount + remount +
                lines({"101 ERROR: Error acquiring status for /mnt/vesk/vesk.log, errno 5"}) +
                first_append);
  EXPECT_EQ(remount_count, 2);
}

TEST_F(Request, an_io_error_of_the_status_makes_an_existing_file_a_new_one) {
  const log_file file = ring(vesk_type).entries(3, 40).make();
  fault_plan plan;
  plan.fail(call::stat, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(vesk_do_vesk(record(good)), 0);
  EXPECT_EQ(file.picture(), "E1024/8 start=20 end=48");
}

TEST_F(Request, an_io_error_without_the_marker_creates_the_file_without_a_remount) {
  unmount();
  fault_plan plan;
  plan.fail(call::stat, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(vesk_do_vesk(record(good)), 0);
  EXPECT_EQ(platform.calls, lines());
}

TEST_F(Request, any_other_failure_of_the_status_refuses_the_record) {
  fault_plan plan;
  plan.fail(call::stat, nth(1), returns{-1}, with{EACCES});
  expect_refused(good, {error("ERROR: Error acquiring status for /mnt/vesk/vesk.log, errno 13")});
  EXPECT_EQ(plan.journal(), "stat /mnt/vesk/vesk.log");
}

TEST_F(Request, what_is_not_a_regular_file_refuses_the_record) {
  make_dir(vesk_log);
  EXPECT_EQ(vesk_do_vesk(record(good)), -1);
  EXPECT_EQ(platform.journal,
            lines({"101 ERROR: /mnt/vesk/vesk.log exists, but not a regular file."}));
  EXPECT_TRUE(exists(vesk_log));
}

TEST_F(Request, a_file_too_small_for_its_header_is_removed_and_the_record_dropped) {
  for (const size_t size : each<size_t>{0, 10, 19}) {
    platform.forget();
    write_file(vesk_log, zeros(size));
    EXPECT_EQ(vesk_do_vesk(record(good)), -1);
    EXPECT_EQ(platform.journal,
              lines({"101 ERROR: /mnt/vesk/vesk.log exists, but too small or corrupt."}) + removal);
    EXPECT_EQ(read_file(vesk_log), zeros(size));
  }
}

TEST_F(Request, the_request_after_that_creates_the_file_afresh) {
  platform.remove_for_real();
  write_file(vesk_log, zeros(10));
  EXPECT_EQ(vesk_do_vesk(record(good)), -1);
  EXPECT_FALSE(exists(vesk_log));
  expect_taken(good);
}

TEST_F(Request, a_file_of_its_header_alone_is_large_enough) {
  const log_file file = ring(vesk_type).make();
  EXPECT_EQ(file.size(), 20u);
  EXPECT_EQ(vesk_do_vesk(record(good)), 0);
  EXPECT_EQ(file.picture(), "E1024/8 start=20 end=48");
  EXPECT_EQ(platform.journal, first_append);
}

// Opening.

TEST_F(Request, only_sync_2_opens_the_file_for_synchronous_writes) {
  for (const uint8_t sync : each<uint8_t>{0, 1, 2, 3, 255}) {
    int flags = 0;
    append_instead = [&](int32_t fd, const vesk_log_req *, uint32_t, uint32_t, uint32_t *) {
      flags = fcntl(fd, F_GETFL);
      return 0;
    };
    good.sync = sync;
    EXPECT_EQ(vesk_do_vesk(record(good)), 0);
    EXPECT_EQ(flags & O_ACCMODE, O_RDWR);
    EXPECT_EQ(flags & O_SYNC, sync == 2 ? 0x1000 : 0) << "sync " << int{sync};
  }
}

TEST_F(Request, every_synchronous_record_is_told_at_error_level_with_its_flags) {
  good.sync = 2;
  for (int i = 0; i < 2; ++i) {
    platform.forget();
    EXPECT_EQ(vesk_do_vesk(record(good)), 0);
    EXPECT_EQ(platform.history[i == 0 ? 1 : 0],
              error("ERROR: For /mnt/vesk/vesk.log resp needed with SYNC flags 1042."));
  }
}

TEST_F(Request, no_other_record_is_told_so) {
  for (const uint8_t sync : each<uint8_t>{0, 1, 3}) {
    remove_all(vesk_log);
    platform.forget();
    good.sync = sync;
    vesk_do_vesk(record(good));
    EXPECT_EQ(platform.journal, missing + first_append);
  }
}

TEST_F(Request, a_file_that_cannot_be_opened_refuses_the_record) {
  fault_plan plan;
  plan.fail(call::open, nth(1), returns{-1}, with{EACCES});
  EXPECT_EQ(vesk_do_vesk(record(good)), -1);
  EXPECT_EQ(platform.journal,
            missing + lines({"101 ERROR: Open of /mnt/vesk/vesk.log failed with errno 13."}));
  EXPECT_EQ(plan.journal(), "stat /mnt/vesk/vesk.log, open /mnt/vesk/vesk.log");
}

TEST_F(Request, an_io_error_of_the_open_remounts_after_the_message) {
  fault_plan plan;
  plan.fail(call::open, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(vesk_do_vesk(record(good)), -1);
  EXPECT_EQ(
      platform.journal,
      missing + lines({"101 ERROR: Open of /mnt/vesk/vesk.log failed with errno 5."}) + remount);
}

TEST_F(Request, a_missing_log_directory_refuses_the_record) {
  remove_all("/mnt/vesk");
  EXPECT_EQ(vesk_do_vesk(record(good)), -1);
  EXPECT_EQ(platform.journal,
            missing + lines({"101 ERROR: Open of /mnt/vesk/vesk.log failed with errno 2."}));
}

// The header of a new file.

TEST_F(Request, a_header_that_is_not_written_whole_removes_the_new_file) {
  fault_plan plan;
  plan.shorten(call::write, nth(1), only{7}, with{ENOSPC});
  EXPECT_EQ(vesk_do_vesk(record(good)), -1);
  EXPECT_EQ(platform.journal, missing +
                                  lines({"101 ERROR: Writing the gheader failed. errno 28.",
                                         "101 ERROR: Failed to create a global header."}) +
                                  removal);
  EXPECT_EQ(plan.journal(),
            "stat /mnt/vesk/vesk.log, open /mnt/vesk/vesk.log, lseek 0, write 20, close");
}

TEST_F(Request, an_io_error_in_the_header_remounts_first) {
  fault_plan plan;
  plan.shorten(call::write, nth(1), only{7}, with{EIO});
  EXPECT_EQ(vesk_do_vesk(record(good)), -1);
  EXPECT_EQ(platform.journal, missing + remount +
                                  lines({"101 ERROR: Writing the gheader failed. errno 5.",
                                         "101 ERROR: Failed to create a global header."}) +
                                  removal);
}

TEST_F(Request, a_header_that_cannot_be_reached_removes_the_new_file) {
  fault_plan plan;
  plan.fail(call::lseek, nth(1), returns{-1}, with{EINVAL});
  EXPECT_EQ(vesk_do_vesk(record(good)), -1);
  EXPECT_EQ(platform.journal, missing +
                                  lines({"101 ERROR: lseek failed to seek 0, errno = 22",
                                         "101 ERROR: Failed to create a global header."}) +
                                  removal);
}

TEST_F(Request, a_header_write_of_minus_one_counts_as_written) {
  append_returns(0, 0);
  fault_plan plan;
  plan.fail(call::write, nth(1), returns{-1}, with{ENOSPC});
  EXPECT_EQ(vesk_do_vesk(record(good)), 0);
  EXPECT_EQ(platform.journal, missing);
}

// The append.

TEST_F(Request, the_append_of_a_new_file_gets_the_size_of_its_header) {
  const record request(good);
  int calls = 0;
  append_instead = [&](int32_t fd, const vesk_log_req *record, uint32_t file_size,
                       uint32_t max_size, uint32_t *error_code) {
    ++calls;
    EXPECT_GE(fd, 0);
    EXPECT_EQ(record, static_cast<const vesk_log_req *>(request));
    EXPECT_EQ(file_size, 20u);
    EXPECT_EQ(max_size, 1048576u);
    EXPECT_EQ(*error_code, 0u);
    return 0;
  };
  vesk_do_vesk(request);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(read_file(vesk_log),
            hex("76 65 73 6B 01 00 14 F7 00 10 00 00 00 00 00 14 00 00 00 14"));
}

TEST_F(Request, the_append_of_an_existing_file_gets_its_status_size) {
  const log_file file = ring(temperature_type).entries(3, 40).make();
  uint32_t size = 0;
  uint32_t capacity = 0;
  append_instead = [&](int32_t, const vesk_log_req *, uint32_t file_size, uint32_t max_size,
                       uint32_t *) {
    size = file_size;
    capacity = max_size;
    return 0;
  };
  vesk_do_vesk(record({.len = 4, .file_type = temperature_type}));
  EXPECT_EQ(size, 200u);
  EXPECT_EQ(capacity, 8192u);
}

TEST_F(Request, a_file_beyond_4_gib_is_neither_too_small_nor_small_enough_for_the_append) {
  for (const uint64_t size : each<uint64_t>{0x100000000, 0x100000014}) {
    const log_file file = ring(temperature_type).make();
    if (!file.extend_to(size)) GTEST_SKIP() << "file offsets of 32 bits end at 2 GiB";
    platform.forget();
    EXPECT_EQ(vesk_do_vesk(record({.len = 4, .file_type = temperature_type})), -1);
    ASSERT_FALSE(platform.history.empty());
    EXPECT_EQ(platform.history[0],
              error("ERROR: File size -1 is greater than the max size 8192 for ftype 7"));
  }
}

TEST_F(Request, a_failed_append_keeps_the_file_for_these_error_codes) {
  for (const uint32_t code : {1u, 2u, 4u, 5u, 6u}) {
    remove_all(vesk_log);
    platform.forget();
    append_returns(-1, code);
    EXPECT_EQ(vesk_do_vesk(record(good)), -1);
    EXPECT_EQ(platform.journal, missing + append_failed) << "code " << code;
  }
}

TEST_F(Request, a_failed_append_removes_the_file_for_every_other_error_code) {
  for (const uint32_t code : {0u, 3u, 7u, 8u, 0x10001u, 0xFFFFFFFFu}) {
    remove_all(vesk_log);
    platform.forget();
    append_returns(-1, code);
    EXPECT_EQ(vesk_do_vesk(record(good)), -1);
    EXPECT_EQ(platform.journal, missing + append_failed + removal) << "code " << code;
  }
}

TEST_F(Request, a_successful_append_keeps_the_file_whatever_the_error_code) {
  append_returns(0, 3);
  EXPECT_EQ(vesk_do_vesk(record(good)), 0);
  EXPECT_EQ(platform.journal, missing);
}

TEST_F(Request, the_result_of_a_failed_append_is_handed_back) {
  append_returns(-9, 2);
  EXPECT_EQ(vesk_do_vesk(record(good)), -9);
  append_returns(4, 3);
  EXPECT_EQ(vesk_do_vesk(record(good)), 4);
}

TEST_F(Request, a_full_flash_leaves_the_file_in_place) {
  platform.remove_for_real();
  const log_file file = ring(vesk_type).entry(1030, 8).make();
  fault_plan plan;
  plan.fail(call::write, nth(2), returns{-1}, with{ENOSPC});  // the data, behind the entry header
  EXPECT_EQ(vesk_do_vesk(record(good)), -1);
  EXPECT_EQ(platform.journal.back(), append_failed[0]);
  EXPECT_EQ(file.picture(), "E1030/8 start=20 end=48");
  EXPECT_TRUE(exists(vesk_log));
}

TEST_F(Request, a_corrupt_global_header_removes_the_file) {
  platform.remove_for_real();
  const log_file file = ring(vesk_type).entry(1030, 8).patch(6, {0x12, 0x34}).make();
  EXPECT_EQ(vesk_do_vesk(record(good)), -1);
  EXPECT_EQ(platform.journal.back(), removal[2]);
  EXPECT_FALSE(exists(vesk_log));
}

// Closing.

TEST_F(Request, the_file_is_closed_after_success_and_failure) {
  for (const int32_t result : {0, -1}) {
    int32_t used = -1;
    append_instead = [&](int32_t fd, const vesk_log_req *, uint32_t, uint32_t, uint32_t *) {
      used = fd;
      return result;
    };
    vesk_do_vesk(record(good));
    EXPECT_EQ(fcntl(used, F_GETFD), -1);
  }
}

TEST_F(Request, a_failed_close_refuses_a_record_that_was_stored) {
  fault_plan plan;
  plan.fail(call::close, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(vesk_do_vesk(record(good)), -1);
  EXPECT_EQ(platform.journal, missing + first_append + lines({"101 ERROR: close failed errno 5"}));
  EXPECT_EQ(plan.count(call::close), 1u);
}

TEST_F(Request, a_failed_close_removes_nothing) {
  append_returns(-9, 3);
  fault_plan plan;
  plan.fail(call::close, nth(1), returns{-1}, with{ENOSPC});
  EXPECT_EQ(vesk_do_vesk(record(good)), -1);
  EXPECT_EQ(platform.journal,
            missing + append_failed + lines({"101 ERROR: close failed errno 28"}));
}

}  // namespace vesk::test
