#include "host/vesk_status_request.h"

#include <unistd.h>

#include <cstring>

#include "host/vesk_clock.h"
#include "host/vesk_counters.h"
#include "host/vesk_history.h"
#include "platform/dbgkit.h"
#include "platform/runctl.h"
#include "tests/unit/host/host_test.h"

namespace vesk::test {
namespace {

// The counters as the test sets them, and as they were afterwards.
class StatusRequest : public ::testing::Test {
 protected:
  StatusRequest() {
    queue();
    former_ = counters;
    former_began_ = service_began;
  }
  ~StatusRequest() override {
    counters = former_;
    service_began = former_began_;
  }

  // What comes back on a status request that the daemon receives, lets the system manager take, and
  // drops.
  std::optional<arrived> asked(const std::string &payload = {}, uint16_t flags = 0) {
    EXPECT_TRUE(sender_.send(60004, payload, flags));
    ipq_msg *msg = next_message();
    const auto back = sender_.receive();
    EXPECT_EQ(runctl_dispatch(msg), RUNCTL_TOOK);
    EXPECT_EQ(ipq_drop(queue(), msg), 0);
    EXPECT_FALSE(sender_.receive_now()) << "one answer, no receipt";
    return back;
  }

 private:
  client sender_;
  host_counters former_;
  uint64_t former_began_;
};

uint64_t word64(const std::string &bytes, size_t offset) {
  uint64_t value = 0;
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

uint32_t word32(const std::string &bytes, size_t offset) {
  uint32_t value = 0;
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

TEST_F(StatusRequest, is_answered_with_every_counter_in_its_place) {
  counters = {.received = 10,
              .refused = {0, 21, 22, 23, 24, 25, 26},
              .answered = 30,
              .unanswered = 40,
              .listeners_reached = 50,
              .listeners_missed = 60};
  const auto back = asked();
  ASSERT_TRUE(back);
  EXPECT_EQ(back->header.flags, 0x0100);
  EXPECT_EQ(back->header.sequence, 1U);
  ASSERT_EQ(back->payload.size(), 104U);
  EXPECT_EQ(word32(back->payload, 0), 1U);
  EXPECT_EQ(word32(back->payload, 4), static_cast<uint32_t>(getpid()));
  const uint64_t expected[] = {11, 21, 22, 23, 24, 25, 26, 30, 40, 50, 60};
  for (size_t i = 0; i < std::size(expected); ++i) {
    EXPECT_EQ(word64(back->payload, 16 + 8 * i), expected[i]) << "at " << 16 + 8 * i;
  }
}

TEST_F(StatusRequest, tells_the_microseconds_since_the_queue_was_bound) {
  EXPECT_NE(service_began, 0U);
  service_began = monotonic_usecs() - 3'600'000'000;
  const auto back = asked();
  ASSERT_TRUE(back);
  EXPECT_GE(word64(back->payload, 8), 3'600'000'000U);
  EXPECT_LT(word64(back->payload, 8), 3'610'000'000U);
}

TEST_F(StatusRequest, counts_its_answer_for_the_next_one) {
  counters = {};
  asked();
  const auto second = asked();
  ASSERT_TRUE(second);
  EXPECT_EQ(word64(second->payload, 16), 2U) << "received";
  EXPECT_EQ(word64(second->payload, 72), 1U) << "answered";
}

TEST_F(StatusRequest, needs_no_receipt_when_one_is_wanted) {
  const auto back = asked({}, VESK_WIRE_WANT_RECEIPT);
  ASSERT_TRUE(back);
  EXPECT_EQ(back->header.flags, 0x0100);
}

TEST_F(StatusRequest, with_a_payload_is_refused) {
  const stderr_capture quiet;
  counters = {};
  const auto back = asked("x", VESK_WIRE_WANT_RECEIPT);
  ASSERT_TRUE(back);
  EXPECT_EQ(back->header.flags, 0x0400);
  EXPECT_EQ(back->payload, bytes_of(uint32_t{4}));
  EXPECT_EQ(counters.refused[static_cast<size_t>(refusal::bad_request)], 1U);
}

TEST_F(StatusRequest, is_open_to_every_user) {
  constexpr uid_t somebody = 65534;
  client other;
  if (!other.send_as(somebody, 60004)) {
    GTEST_SKIP() << "this test needs a second user to send in the name of";
  }
  ipq_drop(queue(), next_message());
  const auto back = other.receive();
  ASSERT_TRUE(back);
  EXPECT_EQ(back->header.flags, 0x0100);
  EXPECT_EQ(back->payload.size(), 104U);
}

TEST_F(StatusRequest, is_answered_once_it_is_received_and_before_anybody_decides_about_it) {
  client sender;
  ASSERT_TRUE(sender.send(60004));
  ipq_msg *msg = next_message();
  EXPECT_TRUE(sender.receive()) << "also when it is then dropped unread";
  ipq_drop(queue(), msg);
}

TEST_F(StatusRequest, leaves_no_trace_in_the_history_and_others_do) {
  dbgkit_hist_set_event_subtype(0x730000, 101, 1);
  char before[text_history_size + message_history_size];
  char after[sizeof before];
  client sender;
  ASSERT_TRUE(sender.send(1151, "a record"));
  ipq_msg *other = next_message();
  dbgkit_hist_ipq_event(DBGKIT_MSG_RECEIVED, other, 0, 0);
  ipq_drop(queue(), other);
  const size_t size = copy_history(before);
  ASSERT_GE(size, 16U);
  EXPECT_EQ(word32({before + size - 16, 16}, 12), 1151U);

  ASSERT_TRUE(sender.send(60004));
  ipq_msg *msg = next_message();
  dbgkit_hist_ipq_event(DBGKIT_MSG_RECEIVED, msg, 0, 0);
  ipq_drop(queue(), msg);
  ASSERT_EQ(copy_history(after), size);
  EXPECT_EQ(std::memcmp(before, after, size), 0);
}

TEST_F(StatusRequest, is_no_other_message) {
  client sender;
  sender.send(60005);
  ipq_msg *msg = next_message();
  EXPECT_FALSE(sender.receive_now());
  EXPECT_NE(runctl_dispatch(msg), RUNCTL_TOOK);
  ipq_drop(queue(), msg);
}

}  // namespace
}  // namespace vesk::test
