#include "platform/card.h"

#include <cerrno>

#include "tests/unit/host/host_test.h"

namespace vesk::test {
namespace {

TEST(Card, is_in_slot_1_by_default) {
  const setting none("VESK_SLOT", nullptr);
  uint8_t slot = 99;
  EXPECT_EQ(card_get_slot_num(&slot), 0);
  EXPECT_EQ(slot, 1);
}

TEST(Card, takes_its_slot_from_the_environment) {
  const struct {
    const char *text;
    int slot;
  } cases[] = {{"0", 0}, {"7", 7}, {"255", 255}, {"007", 7}};
  for (const auto &c : cases) {
    const setting value("VESK_SLOT", c.text);
    uint8_t slot = 99;
    EXPECT_EQ(card_get_slot_num(&slot), 0) << c.text;
    EXPECT_EQ(slot, c.slot) << c.text;
  }
}

TEST(Card, stores_nothing_for_what_is_no_slot) {
  for (const char *text : {"", " ", "256", "-1", "+1", " 1", "1 ", "1x", "0x10", "1.5", "one"}) {
    const setting value("VESK_SLOT", text);
    uint8_t slot = 99;
    errno = 0;
    EXPECT_NE(card_get_slot_num(&slot), 0) << '"' << text << '"';
    EXPECT_EQ(errno, EINVAL) << '"' << text << '"';
    EXPECT_EQ(slot, 99) << '"' << text << '"';
  }
}

}  // namespace
}  // namespace vesk::test
