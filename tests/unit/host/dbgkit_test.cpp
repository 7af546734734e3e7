#include "platform/dbgkit.h"

#include <cstring>

#include "host/vesk_debug_level.h"
#include "tests/unit/host/host_test.h"

namespace vesk::test {
namespace {

constexpr uint32_t event = 0x730000;
constexpr uint32_t trace = 100;
constexpr uint32_t error = 101;
constexpr const char *flags[] = {"trace", "error"};

// Starts as a process does, and leaves the levels as it found them.
class Dbgkit : public ::testing::Test {
 protected:
  Dbgkit() { debug_levels = {1, 0, {}}; }
  ~Dbgkit() override { debug_levels = former_; }

  static void start(const char *wanted) {
    const setting debug("VESK_DEBUG", wanted);
    EXPECT_EQ(dbgkit_dbg_init(3, "name", "display name", 2, flags, 0, 0, 0), 0);
    EXPECT_EQ(dbgkit_sys_init_helper(3, "name", "display name", 1680, 0, 0, 0), 0);
    EXPECT_EQ(dbgkit_hist_init(16384), 0);
    EXPECT_EQ(dbgkit_hist_init_for_uuid(115, 16384), 0);
    EXPECT_EQ(dbgkit_hist_set_event_subtype(event, error, 1), 0);
  }

  static bool prints(uint32_t level) { return dbgkit_chk_int(level, 0, 0, 1) != 0; }
  static bool records(uint32_t level) { return dbgkit_hist_event_subtype_check(event, level) == 0; }

 private:
  vesk_wire_debug former_ = debug_levels;
};

TEST_F(Dbgkit, prints_errors_before_it_is_set_up_and_records_nothing) {
  EXPECT_TRUE(prints(error));
  EXPECT_FALSE(prints(trace));
  EXPECT_FALSE(records(error));
  EXPECT_FALSE(records(trace));
}

TEST_F(Dbgkit, prints_and_records_errors_by_default) {
  start(nullptr);
  EXPECT_TRUE(prints(error) && records(error));
  EXPECT_FALSE(prints(trace) || records(trace));
}

TEST_F(Dbgkit, takes_its_level_from_the_environment) {
  start("none");
  EXPECT_FALSE(prints(error) || prints(trace) || records(trace));
  EXPECT_TRUE(records(error));
  debug_levels = {1, 0, {}};
  start("error");
  EXPECT_TRUE(prints(error) && records(error));
  EXPECT_FALSE(prints(trace) || records(trace));
  start("trace");
  EXPECT_TRUE(prints(error) && records(error) && prints(trace) && records(trace));
}

TEST_F(Dbgkit, says_that_it_does_not_know_a_level) {
  const stderr_capture captured;
  start("loud");
  EXPECT_EQ(captured.text(),
            "<4>vesk host: VESK_DEBUG is \"loud\", not none, error or trace; taken as error\n");
  EXPECT_TRUE(prints(error));
}

TEST_F(Dbgkit, turns_recording_on_and_off_by_level) {
  dbgkit_hist_set_event_subtype(event, trace, 1);
  EXPECT_TRUE(records(trace) && records(error));
  dbgkit_hist_set_event_subtype(event, trace, 0);
  EXPECT_FALSE(records(trace));
  EXPECT_TRUE(records(error));
  dbgkit_hist_set_event_subtype(event, error, 0);
  EXPECT_FALSE(records(error));
}

TEST_F(Dbgkit, remembers_the_debug_name) {
  start(nullptr);
  EXPECT_STREQ(dbgkit_dbg_modname, "name");
}

TEST_F(Dbgkit, prints_with_the_priority_of_the_level_last_asked_about) {
  const stderr_capture captured;
  prints(error);
  dbgprint("ERROR: %d of them\n", 2);
  prints(trace);
  dbgprint("TRACE: one\n ");
  dbgprint("TRACE: two");
  EXPECT_EQ(captured.text(), "<3>ERROR: 2 of them\n<7>TRACE: one\n<7>TRACE: two\n");
}

// The daemon's side of a request: whether the wrapper took it.
bool serve_next() {
  ipq_msg *msg = next_message();
  const bool served = dbgkit_process_msg(queue(), msg) == 0;
  ipq_drop(queue(), msg);
  return served;
}

std::string answer_to(client &sender) {
  const auto answer = sender.receive();
  EXPECT_TRUE(answer && answer->header.flags == VESK_WIRE_ANSWER);
  return answer ? answer->payload : "";
}

void expect_refusal(client &sender) {
  const auto refusal = sender.receive();
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->header.flags, VESK_WIRE_REFUSED);
  EXPECT_EQ(refusal->payload, bytes_of(uint32_t{4}));
  EXPECT_FALSE(sender.receive_now());
}

TEST_F(Dbgkit, leaves_other_messages_alone) {
  client sender;
  sender.send(1234, "x");
  EXPECT_FALSE(serve_next());
  EXPECT_FALSE(sender.receive_now());
}

TEST_F(Dbgkit, changes_its_levels_when_asked_and_tells_what_is_in_force) {
  client sender;
  sender.send(60001, std::string("\2\0\0\0", 4));
  EXPECT_TRUE(serve_next());
  EXPECT_EQ(answer_to(sender), std::string("\2\0\0\0", 4));
  EXPECT_TRUE(prints(trace));
  EXPECT_FALSE(records(error));

  sender.send(60001, std::string("\xFF\1\0\0", 4));
  EXPECT_TRUE(serve_next());
  EXPECT_EQ(answer_to(sender), std::string("\2\1\0\0", 4));

  sender.send(60001, std::string("\0\xFF\0\0", 4));
  EXPECT_TRUE(serve_next());
  EXPECT_EQ(answer_to(sender), std::string("\0\1\0\0", 4));
  EXPECT_FALSE(prints(error));
}

TEST_F(Dbgkit, refuses_levels_and_lengths_that_it_does_not_know) {
  const stderr_capture quiet;
  client sender;
  const std::string wrong[] = {"", "\1", std::string("\3\1\0\0", 4), std::string("\1\x7F\0\0", 4),
                               std::string("\1\1\0\0\0", 5)};
  for (const std::string &payload : wrong) {
    sender.send(60001, payload, VESK_WIRE_WANT_RECEIPT);
    EXPECT_TRUE(serve_next());
    expect_refusal(sender);
  }
  EXPECT_EQ(debug_levels.print, 1);
  EXPECT_EQ(debug_levels.record, 0);
}

TEST_F(Dbgkit, reads_out_the_history) {
  start(nullptr);
  struct {
    uint32_t level;
    char text[32];
  } record = {error, "ERROR: found me\n"};
  EXPECT_EQ(dbgkit_hist_event(event, 4 + 16 + 1, &record), 0);
  client sender;
  sender.send(60002);
  ipq_msg *msg = next_message();
  dbgkit_hist_ipq_event(DBGKIT_MSG_RECEIVED, msg, 0, 0);
  EXPECT_EQ(dbgkit_process_msg(queue(), msg), 0);
  ipq_drop(queue(), msg);

  const std::string answer = answer_to(sender);
  ASSERT_GE(answer.size(), 48U);
  const std::string last_two = answer.substr(answer.size() - 48);
  vesk_wire_history head;
  std::memcpy(&head, last_two.data(), sizeof head);
  EXPECT_EQ(head.kind, 101);
  EXPECT_EQ(head.length, 15) << "the text without its line end";
  EXPECT_EQ(head.opcode, 0U);
  EXPECT_EQ(last_two.substr(16, 16), std::string("ERROR: found me\0", 16));
  std::memcpy(&head, last_two.data() + 32, sizeof head);
  EXPECT_EQ(head.kind, 3);
  EXPECT_EQ(head.length, 0);
  EXPECT_EQ(head.opcode, 60002U);
}

TEST_F(Dbgkit, refuses_a_history_request_with_a_payload) {
  const stderr_capture quiet;
  client sender;
  sender.send(60002, "x");
  EXPECT_TRUE(serve_next());
  expect_refusal(sender);
}

TEST_F(Dbgkit, takes_no_record_too_short_for_its_level) {
  const uint32_t level = error;
  EXPECT_EQ(dbgkit_hist_event(event, 3, &level), -1);
  EXPECT_EQ(dbgkit_hist_event(event, 4, &level), 0);
}

}  // namespace
}  // namespace vesk::test
