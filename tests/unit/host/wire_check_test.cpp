#include "host/vesk_wire_check.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace vesk::test {
namespace {

constexpr vesk_wire_header proper(uint32_t opcode, uint32_t length) {
  return {0x5645534B, 1, 0, 0, opcode, 7, 4711, length};
}

TEST(WireCheck, accepts_a_proper_request) {
  EXPECT_EQ(check_datagram(proper(1151, 0), 24, false), refusal::none);
  EXPECT_EQ(check_datagram(proper(1151, 100), 124, false), refusal::none);
  EXPECT_EQ(check_datagram(proper(1151, 65559), 65583, false), refusal::none);
}

TEST(WireCheck, drops_what_has_no_header) {
  EXPECT_EQ(check_datagram({}, 0, true), refusal::not_ours);
  EXPECT_EQ(check_datagram({0x5645534B, 1, 0, 0, 0, 0, 0, 0}, 7, true), refusal::not_ours);
}

TEST(WireCheck, drops_what_has_another_magic) {
  vesk_wire_header header = proper(1151, 0);
  header.magic = 0x4B534556;
  EXPECT_EQ(check_datagram(header, 24, true), refusal::not_ours);
}

TEST(WireCheck, drops_replies_before_it_looks_any_further) {
  for (const uint16_t flag : std::initializer_list<uint16_t>{0x0100, 0x0200, 0x0400}) {
    vesk_wire_header header = proper(1153, 9);
    header.flags = flag;
    header.version = 2;
    EXPECT_EQ(check_datagram(header, 24, true), refusal::came_back) << flag;
  }
}

TEST(WireCheck, refuses_other_versions_by_their_first_eight_bytes) {
  for (const uint8_t version : std::initializer_list<uint8_t>{0, 2, 255}) {
    const vesk_wire_header header = {0x5645534B, version, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(check_datagram(header, 8, true), refusal::bad_version) << int{version};
  }
}

TEST(WireCheck, refuses_lengths_that_do_not_hold) {
  EXPECT_EQ(check_datagram(proper(1151, 0), 8, true), refusal::bad_length) << "half a header";
  EXPECT_EQ(check_datagram(proper(1151, 0), 23, true), refusal::bad_length) << "nearly a header";
  EXPECT_EQ(check_datagram(proper(1151, 100), 123, true), refusal::bad_length) << "cut";
  EXPECT_EQ(check_datagram(proper(1151, 100), 125, true), refusal::bad_length) << "too much";
  EXPECT_EQ(check_datagram(proper(1151, 0xFFFFFFFF), 23, true), refusal::bad_length) << "wrapped";
  EXPECT_EQ(check_datagram(proper(1151, 65560), 65584, true), refusal::bad_length) << "too large";
}

TEST(WireCheck, keeps_what_changes_or_destroys_for_the_privileged) {
  for (const uint32_t opcode : {1153U, 1155U, 1158U, 6024U, 60001U, 60002U, 60003U}) {
    EXPECT_EQ(check_datagram(proper(opcode, 4), 28, false), refusal::not_permitted) << opcode;
    EXPECT_EQ(check_datagram(proper(opcode, 4), 28, true), refusal::none) << opcode;
  }
}

TEST(WireCheck, lets_anybody_send_everything_else) {
  for (const uint32_t opcode :
       {0U, 1151U, 1152U, 1154U, 1156U, 1162U, 1165U, 7000U, 60000U, 60004U, 0xFFFFFFFFU}) {
    EXPECT_EQ(check_datagram(proper(opcode, 4), 28, false), refusal::none) << opcode;
  }
}

TEST(WireCheck, reports_the_reason_where_it_can_be_understood) {
  EXPECT_TRUE(is_reported(refusal::bad_version));
  EXPECT_TRUE(is_reported(refusal::bad_length));
  EXPECT_TRUE(is_reported(refusal::not_permitted));
  EXPECT_TRUE(is_reported(refusal::bad_request));
  EXPECT_FALSE(is_reported(refusal::none));
  EXPECT_FALSE(is_reported(refusal::not_ours));
  EXPECT_FALSE(is_reported(refusal::came_back));
}

TEST(WireCheck, names_each_refusal) {
  EXPECT_STREQ(refusal_text(refusal::none), "accepted");
  EXPECT_STREQ(refusal_text(refusal::bad_version), "unknown version of the wire format");
  EXPECT_STREQ(refusal_text(refusal::bad_length),
               "the length in its header is not what came, or is too large");
  EXPECT_STREQ(refusal_text(refusal::not_permitted),
               "only root and the daemon's own user may send this");
  EXPECT_STREQ(refusal_text(refusal::bad_request), "a request to the host with a wrong payload");
  EXPECT_STREQ(refusal_text(refusal::not_ours), "no header of this wire format");
  EXPECT_STREQ(refusal_text(refusal::came_back), "an answer, not a request");
}

}  // namespace
}  // namespace vesk::test
