#include "format/vesk_ring.h"

#include <gtest/gtest.h>

namespace vesk::test {
namespace {

TEST(RingArithmetic, data_are_padded_to_four_bytes) {
  EXPECT_EQ(padded(0), 0u);
  EXPECT_EQ(padded(1), 4u);
  EXPECT_EQ(padded(4), 4u);
  EXPECT_EQ(padded(5), 8u);
  EXPECT_EQ(padded(65532), 65532u);
  EXPECT_EQ(padded(65533), 65536u);
  EXPECT_EQ(padded(65535), 65536u);
}

TEST(RingArithmetic, pad_bytes_fill_up_to_four) {
  EXPECT_EQ(pad_bytes(0), 0u);
  EXPECT_EQ(pad_bytes(1), 3u);
  EXPECT_EQ(pad_bytes(2), 2u);
  EXPECT_EQ(pad_bytes(3), 1u);
  EXPECT_EQ(pad_bytes(4), 0u);
}

TEST(RingArithmetic, entry_occupies_its_header_and_its_data) {
  EXPECT_EQ(entry_span(0), 20u);
  EXPECT_EQ(entry_span(40), 60u);
}

TEST(RingArithmetic, entry_asks_for_room_for_a_header_behind_it) {
  EXPECT_EQ(space_for(0), 44u);
  EXPECT_EQ(space_for(40), 84u);
  EXPECT_EQ(space_for(65535), 65579u);
}

TEST(RingArithmetic, slot_follows_slot_until_the_capacity_is_reached) {
  EXPECT_EQ(next_slot(20, 40, 8192), 80u);
  EXPECT_EQ(next_slot(80, 8, 109), 108u);
  EXPECT_EQ(next_slot(80, 8, 108), 20u);  // ends exactly there
  EXPECT_EQ(next_slot(80, 8, 107), 20u);  // goes beyond
}

}  // namespace
}  // namespace vesk::test
