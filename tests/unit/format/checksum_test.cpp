#include "format/vesk_checksum.h"

#include <gtest/gtest.h>

#include <cstring>

namespace vesk::test {
namespace {

constexpr header_bytes all(uint8_t value) {
  header_bytes bytes{};
  bytes.fill(value);
  return bytes;
}

// 7665 + 736b + 0100 + 2000 + 0014 + 0014 = 10af8, folded 0af9, complement f506.
vesk_gheader empty_file_header() {
  vesk_gheader header{};
  std::memcpy(header.magic, "vesk", 4);
  header.version = 1;
  header.checksum = 0xF506;
  header.max = 8192;
  header.start = 20;
  header.end = 20;
  return header;
}

TEST(Checksum, header_of_zeros_does_not_hold) {
  EXPECT_EQ(header_sum(all(0)), 0);
  EXPECT_FALSE(checksum_holds(all(0)));
}

TEST(Checksum, header_of_ones_holds) {
  EXPECT_EQ(header_sum(all(0xFF)), 0xFFFF);
  EXPECT_TRUE(checksum_holds(all(0xFF)));
}

TEST(Checksum, carry_is_folded_back_until_none_is_left) {
  // Nine words ffff and one 0003 make 8fffa. The first fold gives 10002, the second 0003.
  header_bytes bytes = all(0xFF);
  bytes[18] = 0x00;
  bytes[19] = 0x03;
  EXPECT_EQ(header_sum(bytes), 0x0003);
}

// Two words ffff and one 0001 make 1ffff. The first fold gives 10000, the second 0001, wherever the
// words stand.
TEST(Checksum, carries_are_folded_back_from_every_place) {
  for (size_t one = 0; one < 20; ++one) {
    for (size_t first = 0; first < 20; first += 2) {
      for (size_t second = 0; second < 20; second += 2) {
        if (first == second || first == one / 2 * 2 || second == one / 2 * 2) continue;
        header_bytes bytes = all(0);
        bytes[first] = bytes[first + 1] = bytes[second] = bytes[second + 1] = 0xFF;
        bytes[one] = 1;
        EXPECT_EQ(header_sum(bytes), one % 2 == 0 ? 0x0100 : 0x0001)
            << "ffff at " << first << " and " << second << ", 1 at " << one;
      }
    }
  }
}

TEST(Checksum, is_stored_over_a_cleared_word) {
  vesk_gheader header = empty_file_header();
  header.checksum = 0xABCD;
  set_checksum(header);
  EXPECT_EQ(header.checksum, 0xF506);
  EXPECT_TRUE(checksum_holds(header));
}

TEST(Checksum, one_changed_bit_is_seen) {
  vesk_gheader header = empty_file_header();
  header.end = 21;
  EXPECT_FALSE(checksum_holds(header));
}

TEST(Checksum, complement_counts_the_old_checksum_word_in) {
  // A header that holds sums up to ffff; its complement is 0 whatever its fields are.
  EXPECT_EQ(complement_of_sum(empty_file_header()), 0);
  vesk_gheader header = empty_file_header();
  header.end = 24;
  EXPECT_EQ(complement_of_sum(header), 0xFFFB);
}

TEST(CheckGlobalHeader, accepts_a_header_that_holds) {
  const vesk_gheader header = empty_file_header();
  EXPECT_EQ(vesk_check_gheader(&header), 0);
}

TEST(CheckGlobalHeader, refuses_a_wrong_sum) {
  vesk_gheader header = empty_file_header();
  header.checksum = 0xF507;
  EXPECT_EQ(vesk_check_gheader(&header), -1);
}

TEST(CheckGlobalHeader, refuses_another_magic_with_the_same_sum) {
  vesk_gheader header = empty_file_header();
  std::memcpy(header.magic, "skve", 4);
  ASSERT_TRUE(checksum_holds(header));
  EXPECT_EQ(vesk_check_gheader(&header), -1);
}

TEST(CheckGlobalHeader, looks_at_the_whole_magic) {
  // The fourth letter is one higher, and so the sum: it is one lower in the checksum.
  vesk_gheader header = empty_file_header();
  header.magic[3] = 'l';
  header.checksum = 0xF505;
  ASSERT_TRUE(checksum_holds(header));
  EXPECT_EQ(vesk_check_gheader(&header), -1);
}

TEST(CheckGlobalHeader, looks_at_neither_version_nor_offsets) {
  vesk_gheader header = empty_file_header();
  header.version = 9;
  header.start = 0xFFFFFFFF;
  header.end = 7;
  set_checksum(header);
  EXPECT_EQ(vesk_check_gheader(&header), 0);
}

}  // namespace
}  // namespace vesk::test
