#include "platform/ipq.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/vesk_counters.h"
#include "host/vesk_history.h"
#include "platform/dbgkit.h"
#include "platform/runctl.h"
#include "tests/support/send_along.h"
#include "tests/unit/host/host_test.h"

namespace vesk::test {
namespace {

constexpr uint32_t to_sender = 0xFE000000;
constexpr uint32_t to_listeners = 0xFE000001;
constexpr size_t readable_payload = 65559;

const char *payload_of(ipq_msg *msg) {
  return static_cast<const char *>(ipq_payload_get(msg));
}

bool is_zero(const char *from, const char *to) {
  return std::all_of(from, to, [](char c) { return c == 0; });
}

void expect_empty_queue() {
  ipq_msg *msg = nullptr;
  errno = 0;
  EXPECT_EQ(ipq_recv(queue(), &msg, nullptr), -1);
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_EQ(ipq_errno_get(queue()), EAGAIN);
  EXPECT_EQ(msg, nullptr);
}

// The daemon gets a message in which there is nothing, and which the system manager takes.
void expect_empty_message() {
  ipq_msg *msg = nullptr;
  ASSERT_EQ(ipq_recv(queue(), &msg, nullptr), 0);
  EXPECT_EQ(ipq_opc_get(msg), 0U);
  EXPECT_EQ(ipq_payload_get(msg), nullptr);
  EXPECT_EQ(runctl_dispatch(msg), RUNCTL_TOOK);
  EXPECT_EQ(ipq_drop(queue(), msg), 0);
}

// All that waits is refused, and the daemon is not bothered with it.
void expect_nothing_for_the_daemon() {
  expect_empty_message();
  expect_empty_queue();
}

void expect_refusal(client &sender, uint32_t reason) {
  const auto refusal = sender.receive();
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->header.magic, 0x5645534BU);
  EXPECT_EQ(refusal->header.version, 1);
  EXPECT_EQ(refusal->header.flags, 0x0400);
  EXPECT_EQ(refusal->header.length, 4U);
  EXPECT_EQ(refusal->payload, bytes_of(reason));
}

uint64_t refused(refusal why) {
  return counters.refused[static_cast<size_t>(why)];
}

TEST(Ipq, hands_over_opcode_and_payload) {
  client sender;
  const uint64_t before = counters.received;
  ASSERT_TRUE(sender.send(1151, "a record"));
  ipq_msg *msg = next_message();
  EXPECT_EQ(ipq_opc_get(msg), 1151U);
  EXPECT_STREQ(payload_of(msg), "a record");
  EXPECT_EQ(ipq_drop(queue(), msg), 0);
  EXPECT_EQ(counters.received - before, 1U);
}

TEST(Ipq, has_no_payload_for_an_empty_message) {
  client sender;
  sender.send(1152);
  ipq_msg *msg = next_message();
  EXPECT_EQ(ipq_payload_get(msg), nullptr);
  ipq_drop(queue(), msg);
}

TEST(Ipq, takes_the_largest_record_whole) {
  client sender;
  const std::string largest(readable_payload, 'L');
  ASSERT_TRUE(sender.send(1151, largest));
  ipq_msg *msg = next_message();
  EXPECT_EQ(std::memcmp(payload_of(msg), largest.data(), largest.size()), 0);
  ipq_drop(queue(), msg);
}

TEST(Ipq, reads_as_zero_behind_a_short_message_after_a_long_one) {
  client sender;
  sender.send(1151, std::string(readable_payload, 'L'));
  ipq_drop(queue(), next_message());
  sender.send(1151, "short");
  ipq_msg *msg = next_message();
  const char *payload = payload_of(msg);
  EXPECT_EQ(std::string(payload, 5), "short");
  EXPECT_TRUE(is_zero(payload + 5, payload + readable_payload));
  ipq_drop(queue(), msg);
}

TEST(Ipq, reads_as_zero_behind_a_short_message_after_a_refused_long_one) {
  const stderr_capture quiet;
  client sender;
  vesk_wire_header lying = {0x5645534B, 1, 0, 0, 1151, 1, 0, 5};
  sender.send_bytes(bytes_of(lying) + std::string(60000, 'L'));
  sender.send(1151, "short");
  ipq_msg *msg = next_message();
  const char *payload = payload_of(msg);
  EXPECT_EQ(std::string(payload, 5), "short");
  EXPECT_TRUE(is_zero(payload + 5, payload + readable_payload));
  ipq_drop(queue(), msg);
}

TEST(Ipq, reports_an_empty_queue) {
  expect_empty_queue();
}

TEST(Ipq, answers_the_sender_in_the_daemons_name) {
  client sender;
  sender.send(1152);
  sender.send(1152);
  answer_next("one");
  answer_next("two");
  auto first = sender.receive();
  auto second = sender.receive();
  ASSERT_TRUE(first && second);
  EXPECT_EQ(first->header.magic, 0x5645534BU);
  EXPECT_EQ(first->header.version, 1);
  EXPECT_EQ(first->header.flags, 0x0100);
  EXPECT_EQ(first->header.opcode, 0U);
  EXPECT_EQ(first->header.sequence, 1U);
  EXPECT_EQ(first->header.source, 293U);
  EXPECT_EQ(first->header.length, 3U);
  EXPECT_EQ(first->payload, "one");
  EXPECT_EQ(first->uid, geteuid());
  EXPECT_EQ(second->header.sequence, 2U);
  EXPECT_EQ(second->payload, "two");
}

TEST(Ipq, sends_every_answer_and_no_receipt_behind_it) {
  client sender;
  sender.send(1152, "", VESK_WIRE_WANT_RECEIPT);
  ipq_msg *msg = next_message();
  EXPECT_EQ(ipq_send(queue(), to_sender, 0, 0, "1", 1, nullptr, msg, 0), 0);
  EXPECT_EQ(ipq_send(queue(), to_sender, 0, 0, "2", 1, nullptr, msg, 0), 0);
  EXPECT_EQ(ipq_drop(queue(), msg), 0);
  EXPECT_EQ(sender.receive()->payload, "1");
  EXPECT_EQ(sender.receive()->payload, "2");
  EXPECT_FALSE(sender.receive_now());
}

TEST(Ipq, sends_a_receipt_where_one_is_wanted_and_nobody_answered) {
  client sender;
  sender.send(1155, "x", VESK_WIRE_WANT_RECEIPT);
  ipq_drop(queue(), next_message());
  const auto receipt = sender.receive();
  ASSERT_TRUE(receipt);
  EXPECT_EQ(receipt->header.flags, 0x0200);
  EXPECT_EQ(receipt->header.sequence, 1U);
  EXPECT_EQ(receipt->header.length, 0U);
  EXPECT_EQ(receipt->payload, "");
}

TEST(Ipq, sends_no_receipt_where_none_is_wanted) {
  client sender;
  sender.send(1155, "x");
  ipq_drop(queue(), next_message());
  EXPECT_FALSE(sender.receive_now());
}

TEST(Ipq, cannot_answer_a_sender_without_an_address) {
  const stderr_capture quiet;
  client sender(client::named::no);
  const uint64_t before = counters.unanswered;
  sender.send(1152);
  ipq_msg *msg = next_message();
  EXPECT_EQ(ipq_send(queue(), to_sender, 0, 0, "1", 1, nullptr, msg, 0), -1);
  EXPECT_EQ(errno, EDESTADDRREQ);
  EXPECT_EQ(ipq_errno_get(queue()), EDESTADDRREQ);
  EXPECT_EQ(ipq_drop(queue(), msg), 0);
  EXPECT_EQ(counters.unanswered - before, 1U);
}

TEST(Ipq, cannot_answer_a_sender_that_has_gone) {
  const stderr_capture quiet;
  {
    client sender;
    sender.send(1152);
  }
  ipq_msg *msg = next_message();
  EXPECT_EQ(ipq_send(queue(), to_sender, 0, 0, "1", 1, nullptr, msg, 0), -1);
  EXPECT_EQ(ipq_errno_get(queue()), ECONNREFUSED);
  ipq_drop(queue(), msg);
}

TEST(Ipq, answers_others_while_one_never_reads_its_answers) {
  const stderr_capture quiet;
  const std::string large(21896, 'S');
  client deaf;
  client other;
  const uint64_t before = counters.unanswered;
  // Until its queue is full, and then some.
  for (int i = 0; counters.unanswered < before + 20; ++i) {
    ASSERT_LT(i, 5000);
    ASSERT_TRUE(deaf.send(1152));
    answer_next(large);
    ASSERT_TRUE(other.send(1152));
    answer_next(large);
    const auto answer = other.receive();
    ASSERT_TRUE(answer) << "round " << i;
    ASSERT_EQ(answer->payload, large);
  }
  EXPECT_TRUE(deaf.receive()) << "what fitted is still there";
}

TEST(Ipq, refuses_another_version_and_says_so) {
  const stderr_capture quiet;
  client sender;
  const uint64_t before = refused(refusal::bad_version);
  sender.send_bytes(bytes_of({0x5645534B, 2, 0, 0, 1151, 77, 0, 0}));
  expect_nothing_for_the_daemon();
  expect_refusal(sender, 1);
  EXPECT_EQ(refused(refusal::bad_version) - before, 1U);
}

TEST(Ipq, refuses_lengths_that_lie_and_says_so) {
  const stderr_capture quiet;
  client sender;
  sender.send_bytes(bytes_of({0x5645534B, 1, 0, 0, 1151, 77, 0, 10}) + "nine byte");
  sender.send_bytes(bytes_of({0x5645534B, 1, 0, 0, 1151, 78, 0, 65560}) + std::string(65560, 'x'));
  sender.send_bytes(bytes_of({0x5645534B, 1, 0, 0, 1151, 79, 0, 65559}) + std::string(65560, 'x'));
  sender.send_bytes(bytes_of({0x5645534B, 1, 0, 0, 1151, 80, 0, 0}).substr(0, 20));
  expect_nothing_for_the_daemon();
  for (int i = 0; i < 4; ++i) expect_refusal(sender, 2);
}

TEST(Ipq, carries_the_number_of_a_refused_request_back) {
  const stderr_capture quiet;
  client sender;
  sender.send_bytes(bytes_of({0x5645534B, 1, 0, 0, 1151, 0xABCDEF01, 0, 10}));
  expect_nothing_for_the_daemon();
  const auto refusal = sender.receive();
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->header.sequence, 0xABCDEF01U);
}

TEST(Ipq, sends_no_receipt_for_what_it_refused) {
  const stderr_capture quiet;
  client sender;
  sender.send_bytes(bytes_of({0x5645534B, 1, 0, VESK_WIRE_WANT_RECEIPT, 1151, 77, 0, 10}) +
                    "nine byte");
  expect_nothing_for_the_daemon();
  expect_refusal(sender, 2);
  EXPECT_FALSE(sender.receive_now());
}

TEST(Ipq, gives_no_answer_to_what_it_does_not_understand) {
  const stderr_capture quiet;
  client sender;
  const uint64_t before = refused(refusal::not_ours);
  sender.send_bytes("");
  sender.send_bytes("hello");
  sender.send_bytes("a long text that has no header of ours in front");
  expect_nothing_for_the_daemon();
  EXPECT_FALSE(sender.receive_now());
  EXPECT_EQ(refused(refusal::not_ours) - before, 3U);
}

// Otherwise two services could answer each other's answers for ever, and a sender could make the
// daemon send itself something in its own name.
TEST(Ipq, never_answers_or_obeys_an_answer) {
  const stderr_capture quiet;
  client sender;
  const uint64_t before = refused(refusal::came_back);
  for (const uint16_t flag : {VESK_WIRE_ANSWER, VESK_WIRE_RECEIPT, VESK_WIRE_REFUSED}) {
    sender.send(1153, "1234", flag);
  }
  expect_nothing_for_the_daemon();
  EXPECT_FALSE(sender.receive_now());
  EXPECT_EQ(refused(refusal::came_back) - before, 3U);
}

TEST(Ipq, refuses_what_another_user_may_not_send) {
  constexpr uid_t somebody = 65534;
  const stderr_capture quiet;
  client sender;
  if (!sender.send_as(somebody, 1151, "a record")) {
    GTEST_SKIP() << "this test needs a second user to send in the name of";
  }
  ipq_msg *msg = next_message();
  EXPECT_STREQ(payload_of(msg), "a record");
  ipq_drop(queue(), msg);
  for (const uint32_t opcode : {1153U, 1155U, 1158U, 6024U, 60001U, 60002U, 60003U}) {
    ASSERT_TRUE(sender.send_as(somebody, opcode, "1234"));
    expect_nothing_for_the_daemon();
    expect_refusal(sender, 3);
  }
  EXPECT_TRUE(
      contains(quiet.text(), "of user 65534: only root and the daemon's own user may send this"))
      << quiet.text();
}

TEST(Ipq, lets_the_daemons_own_user_send_everything) {
  client sender;
  for (const uint32_t opcode : {1153U, 1155U, 1158U, 6024U, 60001U, 60002U, 60003U}) {
    ASSERT_TRUE(sender.send(opcode, "1234"));
    ipq_msg *msg = next_message();
    EXPECT_EQ(ipq_opc_get(msg), opcode);
    ipq_drop(queue(), msg);
  }
}

TEST(Ipq, hands_over_something_to_drop_when_all_that_came_was_refused) {
  const stderr_capture quiet;
  client sender;
  const uint64_t before = counters.received;
  const uint64_t answered = counters.answered + counters.unanswered;
  // Of each kind that is refused, one that wants a receipt if it goes without an answer.
  sender.send_bytes(bytes_of({0x5645534B, 2, 0, VESK_WIRE_WANT_RECEIPT, 1151, 1, 0, 0}));
  sender.send_bytes(bytes_of({0x5645534B, 1, 0, VESK_WIRE_WANT_RECEIPT, 1151, 2, 0, 10}));
  sender.send_bytes(bytes_of({0x12345678, 1, 0, VESK_WIRE_WANT_RECEIPT, 1151, 3, 0, 0}));
  sender.send(1153, "1234", VESK_WIRE_ANSWER | VESK_WIRE_WANT_RECEIPT);
  expect_nothing_for_the_daemon();
  expect_refusal(sender, 1);
  expect_refusal(sender, 2);
  EXPECT_FALSE(sender.receive_now());
  EXPECT_EQ(counters.received, before) << "it was accepted by nobody";
  EXPECT_EQ(counters.answered + counters.unanswered, answered);
}

TEST(Ipq, cannot_answer_what_stands_for_refused_messages) {
  const stderr_capture quiet;
  client sender;
  sender.send(1153, "1234", VESK_WIRE_ANSWER);
  ipq_msg *msg = next_message();
  EXPECT_EQ(ipq_send(queue(), to_sender, 0, 0, "1", 1, nullptr, msg, 0), -1);
  ipq_drop(queue(), msg);
  EXPECT_FALSE(sender.receive_now());
}

TEST(Ipq, leaves_no_trace_of_refused_messages_in_the_history) {
  const stderr_capture quiet;
  dbgkit_hist_set_event_subtype(0x730000, 101, 1);
  char history[text_history_size + message_history_size];
  client sender;
  sender.send_bytes("rubbish");
  ipq_msg *msg = next_message();
  const size_t before = copy_history(history);
  dbgkit_hist_ipq_event(DBGKIT_MSG_RECEIVED, msg, 0, 0);
  ipq_drop(queue(), msg);
  EXPECT_EQ(copy_history(history), before);
}

TEST(Ipq, reads_as_a_proper_message_again_behind_refused_ones) {
  const stderr_capture quiet;
  client sender;
  sender.send_bytes("rubbish");
  expect_nothing_for_the_daemon();
  sender.send(1151, "good", VESK_WIRE_WANT_RECEIPT);
  ipq_msg *msg = next_message();
  EXPECT_NE(runctl_dispatch(msg), RUNCTL_TOOK);
  ipq_drop(queue(), msg);
  EXPECT_EQ(sender.receive()->header.flags, VESK_WIRE_RECEIPT);
}

TEST(Ipq, passes_over_refused_messages_to_the_next_good_one) {
  const stderr_capture quiet;
  client sender;
  for (int i = 0; i < 5; ++i) sender.send_bytes("rubbish");
  sender.send(1151, "good");
  ipq_msg *msg = next_message();
  EXPECT_STREQ(payload_of(msg), "good");
  ipq_drop(queue(), msg);
}

TEST(Ipq, logs_a_flood_of_refusals_once_a_second) {
  const stderr_capture captured;
  client sender;
  for (int i = 0; i < 100; ++i) {
    sender.send_bytes(bytes_of({0x5645534B, 9, 0, 0, 1151, 1, 0, 0}));
    expect_nothing_for_the_daemon();
    sender.receive_now();
  }
  const std::string text = captured.text();
  // The flood may begin and end in different seconds, and a test before may have had the first.
  EXPECT_LE(std::count(text.begin(), text.end(), '\n'), 3) << text;
}

TEST(Ipq, keeps_several_messages_until_each_is_dropped) {
  client sender;
  std::vector<ipq_msg *> held;
  for (const char *text : {"first", "second", "third", "fourth"}) {
    sender.send(1151, text);
    held.push_back(next_message());
  }
  sender.send(1151, "fifth");
  ipq_msg *none = nullptr;
  EXPECT_EQ(ipq_recv(queue(), &none, nullptr), -1);
  EXPECT_EQ(ipq_errno_get(queue()), ENOBUFS);
  EXPECT_EQ(none, nullptr);

  EXPECT_STREQ(payload_of(held[0]), "first");
  EXPECT_STREQ(payload_of(held[2]), "third");
  EXPECT_EQ(ipq_drop(queue(), held[1]), 0);
  ipq_msg *fifth = next_message();
  EXPECT_STREQ(payload_of(fifth), "fifth");
  EXPECT_STREQ(payload_of(held[3]), "fourth");
  for (ipq_msg *msg : {held[0], held[2], held[3], fifth}) EXPECT_EQ(ipq_drop(queue(), msg), 0);
}

TEST(Ipq, drops_a_message_only_once) {
  client sender;
  sender.send(1151, "x");
  ipq_msg *msg = next_message();
  EXPECT_EQ(ipq_drop(queue(), msg), 0);
  EXPECT_EQ(ipq_drop(queue(), msg), -1);
  EXPECT_EQ(ipq_errno_get(queue()), EINVAL);
  EXPECT_EQ(ipq_drop(queue(), nullptr), -1);
}

TEST(Ipq, gives_a_handle_of_what_it_sent_to_be_dropped) {
  ipq_msg handle{};
  EXPECT_EQ(ipq_drop(queue(), &handle), -1) << "nothing was sent yet";
  EXPECT_EQ(ipq_send(queue(), to_listeners, 0, 7000, "x", 1, &handle, nullptr, 0), 0);
  EXPECT_EQ(ipq_drop(queue(), &handle), 0);
}

TEST(Ipq, refuses_to_send_elsewhere_or_too_much_or_to_nobodys_request) {
  EXPECT_EQ(ipq_send(queue(), 1, 1016, 1151, "x", 1, nullptr, nullptr, 0), -1);
  EXPECT_EQ(errno, EHOSTUNREACH);
  EXPECT_EQ(ipq_errno_get(queue()), EHOSTUNREACH);
  const std::string large(65560, 'x');
  EXPECT_EQ(ipq_send(queue(), to_listeners, 0, 1, large.data(), 65560, nullptr, nullptr, 0), -1);
  EXPECT_EQ(ipq_errno_get(queue()), EMSGSIZE);
  EXPECT_EQ(ipq_send(queue(), to_sender, 0, 0, "x", 1, nullptr, nullptr, 0), -1);
  EXPECT_EQ(ipq_errno_get(queue()), EINVAL);
}

TEST(Ipq, refuses_other_queues) {
  ipq_msg *msg = nullptr;
  EXPECT_EQ(ipq_recv(queue() + 1, &msg, nullptr), -1);
  EXPECT_EQ(ipq_errno_get(queue() + 1), EBADF);
  EXPECT_EQ(ipq_send(queue() + 1, to_listeners, 0, 1, "x", 1, nullptr, nullptr, 0), -1);
  EXPECT_EQ(ipq_drop(queue() + 1, nullptr), -1);
}

TEST(Ipq, refuses_a_second_bind_and_keeps_the_first) {
  client sender;
  const stderr_capture captured;
  EXPECT_EQ(ipq_bind(1, 1016, nullptr, "another"), -1);
  EXPECT_TRUE(contains(captured.text(), "already served"));
  sender.send(1151, "x");
  ipq_drop(queue(), next_message());
}

TEST(Ipq, lets_nobody_leave_descriptors_with_the_daemon) {
  client sender;
  const int next_free = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(next_free);

  const sockaddr_un to = address_of(run_directory() + "/sap-1016");
  const std::string bytes = bytes_of({0x5645534B, 1, 0, 0, 1151, 1, 0, 0});
  const int given = STDIN_FILENO;
  ASSERT_TRUE(send_along(sender.fd(), to, sizeof to, bytes, SCM_RIGHTS, given));

  ipq_drop(queue(), next_message());
  EXPECT_EQ(fcntl(next_free, F_GETFD), -1) << "a descriptor came along";
}

}  // namespace
}  // namespace vesk::test
