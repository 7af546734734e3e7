// A flash that takes its time: everybody waits, and nothing is lost.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <chrono>

#include "tests/flash/flash_test.h"

namespace vesk::test {

namespace {

using namespace std::chrono_literals;

class SlowFlash : public flash_test {
 protected:
  static bool is_yes(const std::optional<reply> &got) {
    return got && got->header.flags == VESK_WIRE_ANSWER && got->word() == 1;
  }

  wire_socket other;
};

TEST_F(SlowFlash, answers_late) {
  ASSERT_EQ(send("before"), response::stored);
  for (const flash_call call : {flash_call::status, flash_call::open, flash_call::write}) {
    flash.will({.call = call, .stay = 100ms});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(send("late"), response::stored);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 100ms);
  }
  EXPECT_EQ(shown_data("vesk"), (texts{"before", "late", "late", "late"}));
}

TEST_F(SlowFlash, makes_other_senders_wait_and_serves_them_afterwards) {
  flash.will({.call = flash_call::write, .stay = 10s});
  ASSERT_NE(sender.send(1151, good_record("slow").bytes()), 0u);
  ASSERT_TRUE(eventually([&] { return flash.hits(flash_call::write) == 1; }));
  ASSERT_NE(other.send(1151, good_record("behind").bytes()), 0u);
  EXPECT_FALSE(other.receive(100ms)) << "there is one thread, and it waits for the flash";
  flash.heal();
  EXPECT_TRUE(is_yes(sender.receive()));
  EXPECT_TRUE(is_yes(other.receive()));
  EXPECT_EQ(shown_data("vesk"), (texts{"slow", "behind"}));
}

// Far more records than the daemon's queue holds.
TEST_F(SlowFlash, loses_none_of_many) {
  flash.will({.call = flash_call::write, .times = always, .stay = 1ms});
  std::string input;
  texts expected;
  for (int i = 100; i < 300; ++i) {
    expected.push_back("record " + std::to_string(i));
    input += expected.back() + "\n";
  }
  const ended sent = run({"veskctl", "send", "--file", "vesk", "--uuid", "25"}, {.input = input});
  EXPECT_EQ(sent.output(), "200 accepted, 0 refused, 0 unanswered\n");
  EXPECT_EQ(shown_data("vesk"), expected);
}

TEST_F(SlowFlash, keeps_the_order_of_records_that_nobody_waits_for) {
  flash.will({.call = flash_call::write, .times = always, .stay = 2ms});
  texts expected;
  for (int i = 10; i < 50; ++i) {
    expected.push_back("record " + std::to_string(i));
    const record quiet({.len = 9, .file_type = 5, .sync = 0, .data = expected.back()});
    ASSERT_NE(sender.send(1151, quiet.bytes(), 0), 0u);
  }
  ASSERT_EQ(send("the last"), response::stored);
  expected.emplace_back("the last");
  EXPECT_EQ(shown_data("vesk"), expected);
}

// The daemon ends when the write of the entry's header is done, and before that of its data.
TEST_F(SlowFlash, is_waited_for_by_an_orderly_end) {
  ASSERT_EQ(send("before"), response::stored);
  const size_t size = flash.on_chip("vesk.log").size();
  flash.will({.call = flash_call::write, .stay = 10s});
  ASSERT_NE(sender.send(1151, good_record("never").bytes()), 0u);
  ASSERT_TRUE(eventually([&] { return flash.hits(flash_call::write) == 1; }));
  kill(daemon.process(), SIGTERM);
  flash.heal();
  EXPECT_EQ(daemon.stop(SIGTERM), 3);
  EXPECT_EQ(flash.on_chip("vesk.log").size(), size + 20);
  boot();
  EXPECT_EQ(send("after"), response::stored);
  EXPECT_EQ(shown_data("vesk"), (texts{"before", "after"}));
}

}  // namespace

}  // namespace vesk::test
