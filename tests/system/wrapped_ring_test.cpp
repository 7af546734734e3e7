// The smallest file, wrapped five times, against a calculation by hand.
//
// temperature_err.log holds 8192 bytes: a header of 20, then entries. Every record here has 100
// bytes, so every entry takes 120 and record j of a lap (from 0) lies at 20 + 120 j.
//
// A lap. A record is placed at the end only if 144 bytes are left there. Record 66 of a lap starts
// at 7940, where 252 are left; behind it, at 8060, only 132 are. So a lap has 67 records, a null
// entry of 132 bytes fills 8060 to 8192, and the next record starts the next lap at 20.
//
// Making space frees at least 4096 bytes. From 20 that is 35 entries (34 would be 4080), so the
// first wrap moves the start to 20 + 35 * 120 = 4220: records 35 to 66 of the old lap stay.
//
// In the new lap record j needs 144 bytes between 20 + 120 j and the start at 4220. Record 33, at
// 3980, has 240; record 34, at 4100, has 120: space is made once more. From 4220 there are 32
// entries, 3840 bytes, and the null entry; that is the end of the file before 4096 are free, and
// behind it the count begins anew at 20: 35 slots further the start is at 4220 again. All that was
// there is given up, and with record 34, which ends at 4220, start and end meet: the ring is empty.
//
// Record 35 to 66 then follow at 4220 to 7940. The wrap behind them meets the same 32 entries and
// null entry, so the start stays at 4220, and every lap from the second on is like the last one.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tests/support/running_daemon.h"

namespace vesk::test {

namespace {

std::string numbered(int number) {
  char head[16];
  std::snprintf(head, sizeof head, "record %04d ", number);
  return head + std::string(88, '.');
}

class WrappedRing : public daemon_test {
 protected:
  // Sends records until `count` of them have been sent since the test began.
  void send_up_to(int count) {
    for (; sent_ < count; ++sent_) ASSERT_TRUE(stores(sender, good_record(numbered(sent_), 7)));
  }

  // The file holds the records from `first` to `last`, these included, and no others.
  void expect_holds(int first, int last) {
    std::vector<std::string> expected;
    for (int number = first; number <= last; ++number) expected.push_back(numbered(number));
    EXPECT_EQ(shown_data("temperature_err"), expected) << "after " << sent_ << " records";
  }

 private:
  int sent_ = 0;
};

TEST_F(WrappedRing, holds_what_a_hand_calculation_says) {
  send_up_to(67);  // the whole first lap
  expect_holds(0, 66);
  send_up_to(68);  // the first wrap
  expect_holds(35, 67);
  send_up_to(335);  // five whole laps: 268 to 334 is the fifth, 303 its record 35
  expect_holds(303, 334);
  send_up_to(336);  // the fifth wrap
  expect_holds(303, 335);
  send_up_to(369);  // up to record 33 of the sixth lap
  expect_holds(303, 368);
  send_up_to(370);  // record 34
  const ended nothing = run({"veskshow", "temperature_err"});
  EXPECT_EQ(nothing.status, 1);
  EXPECT_EQ(
      nothing.output(),
      "veskshow: /mnt/vesk/temperature_err.log: offset 12: start and end are both 4220: no entry "
      "can be reached\n");
  send_up_to(371);
  expect_holds(370, 370);
  EXPECT_EQ(contents_of("/mnt/vesk/temperature_err.log").size(), 8192u);
}

}  // namespace

}  // namespace vesk::test
