// A small file from its first byte to its last, put together by every operation that writes. It
// must be the same on any machine, whatever its word size and byte order.
#include "store/vesk_append.h"
#include "store/vesk_entry.h"
#include "store/vesk_update.h"
#include "tests/unit/store/store_test.h"

namespace vesk::test {
namespace {

class WholeFile : public StoreTest {
 protected:
  void update_gheader(uint32_t end) {
    ASSERT_EQ(vesk_update_gheader(file.fd(), 20, end, 0x2000, 1), 0);
  }
  void append(const record_fields &fields) {
    ASSERT_EQ(vesk_append(file.fd(), record(fields), file.size(), 0x2000, &code), 0);
  }

  const log_file file = ring(7).make();
};

TEST_F(WholeFile, is_the_same_on_every_machine) {
  fault_plan plan;
  plan.clock(0x60010203, 0x00040506);
  update_gheader(20);
  append({.uuid = 0x0102,
          .type = 0x0403,
          .len = 5,
          .flags = 0xA5,
          .secs = 0x5F3E2D1C,
          .usecs = 0x000B1A29,
          .data = "hello"});
  // 0102 + 0403 + 0008 + a500 + 0000 + 5f3e + 2d1c + 000b + 1a29 = 1509b, folded 509c; af63.
  EXPECT_EQ(file.hex(20, 100),
            "01 02 04 03  00 08 af 63  a5 00 00 00  5f 3e 2d 1c  00 0b 1a 29  "
            "68 65 6c 6c  6f 00 00 00");

  append({.uuid = 0x0AB0,
          .type = 0xFFFE,
          .len = 4,
          .flags = 0x01,
          .secs = 0xF1E2D3C4,
          .usecs = 0x000F423F,
          .data = "\x01\xff\x80\x7f"});
  // 0ab0 + fffe + 0004 + 0100 + 0000 + f1e2 + d3c4 + 000f + 423f = 313a6, folded 13a9; ec56.
  EXPECT_EQ(file.hex(48, 100),
            "0a b0 ff fe  00 04 ec 56  01 00 00 00  f1 e2 d3 c4  00 0f 42 3f  "
            "01 ff 80 7f");

  append({.uuid = 0x0102,
          .type = 0x0403,
          .len = 7,
          .flags = 0xA6,
          .update = 1,
          .secs = 0x5F3E2D1D,
          .usecs = 0x000B1A2A,
          .data = "updated"});
  ASSERT_EQ(vesk_add_null_entry(file.fd(), 72, 12, 4, &code), 0);
  ASSERT_EQ(vesk_update_eheader(file.fd(), 48, 8, &code), 0);
  update_gheader(104);

  EXPECT_EQ(
      file.hex(0, 200),
      // 7665 + 736b + 0100 + 2000 + 0014 + 0068 = 10b4c, folded 0b4d; f4b2 completes it.
      "76 65 73 6b  01 00 f4 b2  00 00 20 00  00 00 00 14  00 00 00 68  "
      // The first record, updated:
      // 0102 + 0403 + 0008 + a600 + 0014 + 5f3e + 2d1d + 000b + 1a2a = 151b1, folded 51b2; ae4d.
      "01 02 04 03  00 08 ae 4d  a6 00 00 14  5f 3e 2d 1d  00 0b 1a 2a  "
      "75 70 64 61  74 65 64 00  "
      // The second, its prev_size now 8: ffff + 0008, folded 0008; fff7 is its complement.
      "0a b0 ff fe  00 04 ff f7  01 00 00 08  f1 e2 d3 c4  00 0f 42 3f  "
      "01 ff 80 7f  "
      // The null entry: 0125 + 000c + 0004 + 6001 + 0203 + 0004 + 0506 = 6843; 97bc.
      "01 25 00 00  00 0c 97 bc  00 00 00 04  60 01 02 03  00 04 05 06  "
      "00 00 00 00  00 00 00 00  00 00 00 00");
  EXPECT_EQ(code, untouched);
}

}  // namespace
}  // namespace vesk::test
