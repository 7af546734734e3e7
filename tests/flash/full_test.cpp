// A flash without room.
#include <gtest/gtest.h>

#include "tests/flash/flash_test.h"

namespace vesk::test {

namespace {

const std::string forty_letters(40, 'x');

class FullFlash : public used_flash_test {
 protected:
  static constexpr size_t size_before = 48;

  // There is room again, and the log goes on where it stood.
  void expect_the_log_to_go_on() {
    flash.heal();
    EXPECT_EQ(send("after"), response::stored);
    EXPECT_EQ(shown_data("vesk"), (texts{"before", "after"}));
  }
};

TEST_F(FullFlash, refuses_a_record_and_keeps_the_file) {
  flash.leave_room(0);
  EXPECT_EQ(send(forty_letters), response::refused);
  EXPECT_TRUE(daemon.prints("ERROR: Write failed etype 1024 len 40 errno 28."));
  EXPECT_EQ(flash.on_chip("vesk.log"), before_);
  EXPECT_EQ(flash.mounts_begun(), 1u) << "that is no reason to mount it anew";
  expect_the_log_to_go_on();
}

TEST_F(FullFlash, refuses_a_synchronous_record_and_keeps_the_file) {
  flash.leave_room(0);
  EXPECT_EQ(send_synchronous(forty_letters), response::refused);
  EXPECT_EQ(flash.on_chip("vesk.log"), before_);
  expect_the_log_to_go_on();
}

TEST_F(FullFlash, keeps_the_file_when_the_header_alone_has_room) {
  flash.leave_room(20);
  EXPECT_EQ(send(forty_letters), response::refused);
  EXPECT_EQ(flash.on_chip("vesk.log").size(), size_before + 20);
  expect_the_log_to_go_on();
}

TEST_F(FullFlash, keeps_the_file_when_a_part_of_the_header_has_room) {
  flash.leave_room(8);
  EXPECT_EQ(send(forty_letters), response::refused);
  EXPECT_TRUE(daemon.prints("ERROR: Write failed ret 8 ehdr entry type 1024."));
  EXPECT_EQ(flash.on_chip("vesk.log").size(), size_before + 8);
  expect_the_log_to_go_on();
}

TEST_F(FullFlash, keeps_the_file_when_up_to_19_bytes_of_data_have_room) {
  flash.leave_room(20 + 19);
  EXPECT_EQ(send(forty_letters), response::refused);
  EXPECT_EQ(flash.on_chip("vesk.log").size(), size_before + 39);
  expect_the_log_to_go_on();
}

// Such a write is neither failed nor without room in the daemon's eyes, and what it cannot name
// costs the file.
TEST_F(FullFlash, loses_the_file_when_20_bytes_of_data_have_room) {
  flash.leave_room(20 + 20);
  EXPECT_EQ(send(forty_letters), response::refused);
  EXPECT_TRUE(daemon.prints("ERROR: /mnt/vesk/vesk.log was removed due to errors"));
  EXPECT_TRUE(eventually([&] { return !flash.has("vesk.log"); }));
  flash.heal();
  EXPECT_EQ(send("after"), response::stored);
  EXPECT_EQ(shown_data("vesk"), texts{"after"});
}

TEST_F(FullFlash, keeps_the_file_when_a_part_of_the_padding_has_room) {
  flash.leave_room(20 + 5 + 1);
  EXPECT_EQ(send("fiver"), response::refused);
  EXPECT_TRUE(
      daemon.prints("ERROR: Persistent Logger : write failed to align etype 1024 len 3, errno "));
  expect_the_log_to_go_on();
}

// Padding that could not be written at all passes for written. The log then ends behind the end of
// its file, until the next record comes.
TEST_F(FullFlash, stores_a_record_whose_padding_has_no_room) {
  flash.leave_room(20 + 5);
  EXPECT_EQ(send("fiver"), response::stored);
  EXPECT_EQ(flash.on_chip("vesk.log").size(), size_before + 25);
  flash.heal();
  EXPECT_EQ(send("after"), response::stored);
  EXPECT_EQ(shown_data("vesk"), (texts{"before", "fiver", "after"}));
}

TEST_F(FullFlash, loses_a_file_at_a_start_whose_last_padding_had_no_room) {
  flash.leave_room(20 + 5);
  EXPECT_EQ(send("fiver"), response::stored);
  const ended predicted = run({"veskshow", "--verify", "vesk"});
  EXPECT_EQ(lines_of(predicted.out).at(0),
            "vesk.log: damaged; the next first start would remove it");
  boot();
  EXPECT_TRUE(daemon.prints("ERROR: start 20 or end 76 is greater than file size 73"));
  EXPECT_TRUE(eventually([&] { return !flash.has("vesk.log"); }));
}

TEST_F(FullFlash, keeps_no_new_file) {
  flash.leave_room(0);
  EXPECT_EQ(send("refused", 25), response::refused);
  EXPECT_TRUE(daemon.prints("ERROR: ghdr read fails errno "));
  EXPECT_TRUE(eventually([&] { return !flash.has("platform.log"); }));
  flash.heal();
  EXPECT_EQ(send("after", 25), response::stored);
  EXPECT_EQ(shown_data("platform"), texts{"after"});
}

// What is written over old entries needs no room.
TEST_F(FullFlash, goes_on_in_a_ring_that_has_its_full_size) {
  for (int i = 0; i < 200; ++i) ASSERT_EQ(send(forty_letters, 7), response::stored);
  ASSERT_EQ(flash.on_chip("temperature_err.log").size(), 8192u);
  flash.leave_room(0);
  EXPECT_EQ(send("after", 7), response::stored);
  EXPECT_EQ(shown_data("temperature_err").back(), "after");
}

}  // namespace

}  // namespace vesk::test
