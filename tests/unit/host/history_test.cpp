#include "host/vesk_history.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "host/vesk_history_ring.h"

namespace vesk::test {
namespace {

constexpr vesk_wire_history stamp(uint32_t secs) {
  return {secs, 5, 101, 0, 0};
}

std::string record_at(const history_ring &ring, uint32_t at) {
  std::string bytes(ring.record_size(at), '\0');
  ring.read_out(at, bytes);
  return bytes;
}

// "secs:text" for each record.
std::vector<std::string> records_of(const history_ring &ring) {
  std::vector<std::string> found;
  for (uint32_t at = ring.first(); at != ring.end(); at = ring.next(at)) {
    const std::string bytes = record_at(ring, at);
    vesk_wire_history head;
    std::memcpy(&head, bytes.data(), sizeof head);
    found.push_back(std::to_string(head.secs) + ':' + bytes.substr(sizeof head, head.length));
  }
  return found;
}

class HistoryRing : public ::testing::Test {
 protected:
  std::array<char, 1024> storage_{};
  history_ring ring_{storage_};
};

TEST_F(HistoryRing, starts_empty) {
  EXPECT_EQ(ring_.first(), ring_.end());
}

TEST_F(HistoryRing, keeps_records_in_order) {
  ring_.append(7, stamp(1), "one");
  ring_.append(7, stamp(2), "");
  ring_.append(7, stamp(3), "four");
  EXPECT_EQ(records_of(ring_), (std::vector<std::string>{"1:one", "2:", "3:four"}));
}

TEST_F(HistoryRing, pads_with_zeros_to_a_multiple_of_four) {
  ring_.append(7, stamp(1), "12345");
  const std::string bytes = record_at(ring_, ring_.first());
  ASSERT_EQ(bytes.size(), 24U);
  EXPECT_EQ(bytes.substr(16), std::string("12345\0\0\0", 8));
  EXPECT_EQ(ring_.order_at(ring_.first()), 7U);
}

TEST_F(HistoryRing, pushes_the_oldest_out_when_it_is_full) {
  // 4 + 16 + 44 bytes each: sixteen of them fill the ring exactly.
  for (uint32_t i = 0; i < 16; ++i) ring_.append(7, stamp(i), std::string(44, 'a'));
  EXPECT_EQ(records_of(ring_).size(), 16U);
  ring_.append(7, stamp(16), "");
  const auto records = records_of(ring_);
  EXPECT_EQ(records.size(), 16U);
  EXPECT_EQ(records.front(), "1:" + std::string(44, 'a'));
  EXPECT_EQ(records.back(), "16:");
}

TEST_F(HistoryRing, holds_the_newest_after_many_rounds_of_odd_lengths) {
  for (uint32_t i = 0; i < 5000; ++i) {
    ring_.append(7, stamp(i), std::string(i % 61, static_cast<char>('a' + i % 26)));
  }
  const auto records = records_of(ring_);
  ASSERT_GE(records.size(), 12U);  // even if all were of the greatest size, 80 bytes
  for (size_t k = 0; k < records.size(); ++k) {
    const auto i = static_cast<uint32_t>(5000 - records.size() + k);
    EXPECT_EQ(records[k],
              std::to_string(i) + ':' + std::string(i % 61, static_cast<char>('a' + i % 26)));
  }
}

TEST_F(HistoryRing, cuts_a_text_at_512_bytes) {
  ring_.append(7, stamp(1), std::string(600, 'x'));
  EXPECT_EQ(records_of(ring_), std::vector<std::string>{"1:" + std::string(512, 'x')});
}

std::vector<vesk_wire_history> whole_history() {
  static char bytes[text_history_size + message_history_size];
  const size_t size = copy_history(bytes);
  std::vector<vesk_wire_history> heads;
  for (size_t at = 0; at < size;) {
    vesk_wire_history head;
    std::memcpy(&head, bytes + at, sizeof head);
    heads.push_back(head);
    at += sizeof head + ((head.length + 3U) & ~3U);
  }
  return heads;
}

TEST(History, puts_texts_and_messages_in_the_order_of_their_time) {
  note_text(101, "before");
  note_message(3, 1151);
  note_message(4, 1151);
  note_text(100, "after");
  const auto heads = whole_history();
  ASSERT_GE(heads.size(), 4U);
  const vesk_wire_history *last = &heads[heads.size() - 4];
  EXPECT_EQ(last[0].kind, 101);
  EXPECT_EQ(last[0].length, 6);
  EXPECT_EQ(last[1].kind, 3);
  EXPECT_EQ(last[1].opcode, 1151U);
  EXPECT_EQ(last[1].length, 0);
  EXPECT_EQ(last[2].kind, 4);
  EXPECT_EQ(last[3].kind, 100);
  EXPECT_GT(last[0].secs, 1'000'000'000U);
  EXPECT_LT(last[0].usecs, 1'000'000U);
}

TEST(History, keeps_the_errors_through_any_number_of_messages) {
  note_text(101, "the error to find");
  for (int i = 0; i < 10'000; ++i) note_message(3, 1151);
  const auto heads = whole_history();
  size_t texts = 0;
  size_t messages = 0;
  for (const auto &head : heads) {
    if (head.kind == 101) ++texts;
    if (head.kind == 3) ++messages;
  }
  EXPECT_GE(texts, 1U);
  EXPECT_EQ(heads.back().kind, 3);
  EXPECT_EQ(messages, 204U) << "4096 bytes, twenty a message";
}

}  // namespace
}  // namespace vesk::test
