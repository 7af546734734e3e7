#include "format/vesk_format.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstring>

namespace vesk::test {
namespace {

TEST(Format, big_endian_fields_store_the_high_byte_first) {
  be16 word{};
  word = 0x0102;
  EXPECT_EQ(word.b[0], 1);
  EXPECT_EQ(word.b[1], 2);
  EXPECT_EQ(word, 0x0102);

  be32 longer{};
  longer = 0xF1020304;
  EXPECT_EQ(longer.b[0], 0xF1);
  EXPECT_EQ(longer.b[1], 2);
  EXPECT_EQ(longer.b[2], 3);
  EXPECT_EQ(longer.b[3], 4);
  EXPECT_EQ(longer, 0xF1020304);
}

TEST(Format, global_header_has_its_fields_in_place) {
  vesk_gheader header{};
  std::memcpy(header.magic, "vesk", 4);
  header.version = 1;
  header.reserved = 2;
  header.checksum = 0x0304;
  header.max = 0x05060708;
  header.start = 0x090A0B0C;
  header.end = 0x0D0E0F10;
  EXPECT_EQ((std::bit_cast<std::array<uint8_t, 20>>(header)),
            (std::array<uint8_t, 20>{'v', 'e', 's', 'k', 1,  2,  3,  4,  5,  6,
                                     7,   8,   9,   10,  11, 12, 13, 14, 15, 16}));
}

TEST(Format, entry_header_has_its_fields_in_place) {
  vesk_ehdr header{};
  header.uuid = 0x0102;
  header.type = 0x0304;
  header.size = 0x0506;
  header.checksum = 0x0708;
  header.flags = 9;
  header.reserved = 10;
  header.prev_size = 0x0B0C;
  header.secs = 0x0D0E0F10;
  header.usecs = 0x11121314;
  EXPECT_EQ((std::bit_cast<std::array<uint8_t, 20>>(header)),
            (std::array<uint8_t, 20>{1,  2,  3,  4,  5,  6,  7,  8,  9,  10,
                                     11, 12, 13, 14, 15, 16, 17, 18, 19, 20}));
}

TEST(Format, log_record_head_has_its_fields_in_place) {
  vesk_log_req head{};
  head.uuid = 0x0102;
  head.type = 0x0304;
  head.len = 0x0506;
  head.flags = 7;
  head.update = 8;
  head.secs = 0x090A0B0C;
  head.usecs = 0x0D0E0F10;
  head.file_type = 0x1112;
  head.sync = 19;
  head.reserved = 20;
  head.instance = 0x15161718;
  EXPECT_EQ((std::bit_cast<std::array<uint8_t, 24>>(head)),
            (std::array<uint8_t, 24>{1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12,
                                     13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24}));
}

TEST(Format, constants_are_what_other_programs_count_on) {
  EXPECT_EQ(VESK_GHEADER_SIZE, 20u);
  EXPECT_EQ(VESK_EHDR_SIZE, 20u);
  EXPECT_EQ(VESK_LOG_REQ_SIZE, 24u);
  EXPECT_EQ(VESK_VERSION, 1);
  EXPECT_EQ(VESK_OWN_UUID, 293);
  EXPECT_EQ(VESK_MAX_UUID, 2736);
  EXPECT_EQ(VESK_MAX_FILE_TYPES, 64u);
}

TEST(Format, error_codes_keep_their_numbers) {
  EXPECT_EQ(VESK_ERR_NONE, 0u);
  EXPECT_EQ(VESK_ERR_WRITE, 1u);
  EXPECT_EQ(VESK_ERR_NO_SPACE, 2u);
  EXPECT_EQ(VESK_ERR_NULL_ENTRY, 3u);
  EXPECT_EQ(VESK_ERR_GHEADER_SEEK, 4u);
  EXPECT_EQ(VESK_ERR_HEADER_READ, 5u);
  EXPECT_EQ(VESK_ERR_ENTRY_SEEK, 6u);
}

}  // namespace
}  // namespace vesk::test
