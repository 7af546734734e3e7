#include "daemon/vesk_send.h"

#include <cerrno>

#include "tests/unit/daemon/daemon_test.h"

namespace vesk::test {

struct Send : daemon_test {
  bytes payload = {1, 2, 3};
  ipq_msg handle{};
  ipq_msg *request = nullptr;

  void SetUp() override {
    daemon_test::SetUp();
    request = platform.message(1152, {});
  }
};

TEST_F(Send, passes_its_arguments_in_order_and_notes_the_send) {
  EXPECT_EQ(vesk_ipq_send(0xFE000001, 2, 1156, payload.data(), 3, &handle, request, 9), 0);
  EXPECT_EQ(platform.calls, lines({"ipq_send(7, 0xFE000001, 2, 1156, payload, 3, handle, msg 1, 9)",
                                   "dbgkit_hist_ipq_event(4, msg 1, 0, 0)"}));
  EXPECT_EQ(platform.sent, std::vector<sent_message>({{0xFE000001, 1156, {1, 2, 3}}}));
}

TEST_F(Send, uses_the_queue_that_is_bound_now) {
  ipq_q = 11;
  vesk_ipq_send(3, 0, 1156, nullptr, 0, nullptr, nullptr, 0);
  EXPECT_EQ(platform.calls[0], "ipq_send(11, 3, 0, 1156, null, 0, null, null, 0)");
}

TEST_F(Send, a_failed_send_is_not_noted_and_its_result_handed_back) {
  for (const int32_t result : {-1, -17, 1, 4}) {
    platform.forget();
    platform.next("ipq_send", result);
    EXPECT_EQ(vesk_ipq_send(0xFE000001, 0, 1156, nullptr, 0, nullptr, nullptr, 0), result);
    EXPECT_EQ(platform.calls, lines({"ipq_send(7, 0xFE000001, 0, 1156, null, 0, null, null, 0)"}));
  }
}

TEST_F(Send, a_failed_send_leaves_errno_to_the_caller) {
  platform.next("ipq_send", -1, 11);
  errno = 0;
  vesk_ipq_send(0xFE000001, 0, 1156, nullptr, 0, nullptr, nullptr, 0);
  EXPECT_EQ(errno, 11);
}

TEST_F(Send, an_answer_goes_to_the_sender_of_the_request_with_opcode_0) {
  EXPECT_EQ(vesk_ipq_send_response(payload.data(), 3, request, &handle), 0);
  EXPECT_EQ(platform.calls, lines({"ipq_send(7, 0xFE000000, 0, 0, payload, 3, handle, msg 1, 0)",
                                   "dbgkit_hist_ipq_event(4, msg 1, 0, 0)"}));
  EXPECT_EQ(platform.sent, std::vector<sent_message>({{0xFE000000, 0, {1, 2, 3}}}));
}

TEST_F(Send, a_failed_answer_hands_back_the_result) {
  platform.next("ipq_send", -5);
  EXPECT_EQ(vesk_ipq_send_response(payload.data(), 3, request, nullptr), -5);
  EXPECT_EQ(platform.calls, lines({"ipq_send(7, 0xFE000000, 0, 0, payload, 3, null, msg 1, 0)"}));
}

TEST_F(Send, sending_logs_nothing_itself) {
  platform.next("ipq_send", -1);
  vesk_ipq_send_response(payload.data(), 3, request, nullptr);
  vesk_ipq_send_response(payload.data(), 3, request, nullptr);
  EXPECT_EQ(platform.history, log_lines());
}

}  // namespace vesk::test
