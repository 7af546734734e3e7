#include "platform/runctl.h"

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "host/vesk_pid_file.h"
#include "tests/unit/host/host_test.h"

namespace {

uint32_t switchovers;
uint32_t last_context;

}  // namespace

// The daemon's part in a switchover.
uint32_t runctlcb_switchover(uint32_t context) {
  ++switchovers;
  last_context = context;
  runctl_switchover_done(context, 5);
  return 0;
}

namespace vesk::test {
namespace {

class PidFile : public ::testing::Test {
 protected:
  void write(const std::string &text) const { std::ofstream(path_) << text; }

  scratch_directory dir_;
  std::string path_ = dir_ / "pid";
};

TEST_F(PidFile, names_nobody_where_there_is_none) {
  EXPECT_EQ(read_pid(path_.c_str()), 0U);
}

TEST_F(PidFile, names_the_process_in_it) {
  write("1234\n");
  EXPECT_EQ(read_pid(path_.c_str()), 1234U);
  write("1234");
  EXPECT_EQ(read_pid(path_.c_str()), 1234U);
}

TEST_F(PidFile, names_nobody_where_there_is_no_number) {
  for (const char *text : {"", "\n", "x", "12x", "-5", " 12", "12 13\n", "2147483648\n",
                           "99999999999999999999999999999999999999\n"}) {
    write(text);
    EXPECT_EQ(read_pid(path_.c_str()), 0U) << text;
  }
}

TEST_F(PidFile, names_nobody_where_there_is_no_plain_file) {
  mkdir(path_.c_str(), 0700);
  EXPECT_EQ(read_pid(path_.c_str()), 0U);
  EXPECT_FALSE(write_pid(path_.c_str(), 1));
}

TEST_F(PidFile, is_written_anew) {
  write("123456789\nand more\n");
  EXPECT_TRUE(write_pid(path_.c_str(), 42));
  EXPECT_EQ(contents_of(path_), "42\n");
}

TEST(Runctl, knows_a_restart_by_the_process_before) {
  const scratch_directory dir;
  const setting run_dir("VESK_RUN_DIR", dir.path().c_str());
  EXPECT_EQ(runctl_last_pid_get(), 0U);
  EXPECT_EQ(runctl_last_pid_get(), static_cast<uint32_t>(getpid()));
}

TEST(Runctl, says_when_the_next_start_will_not_be_known_as_a_restart) {
  const scratch_directory dir;
  const setting run_dir("VESK_RUN_DIR", (dir / "missing").c_str());
  const stderr_capture captured;
  EXPECT_EQ(runctl_last_pid_get(), 0U);
  EXPECT_EQ(captured.text(), "<4>vesk host: cannot write " + dir / "missing/vesk_sup.pid" +
                                 ", so the next start will not be known as a restart: No such "
                                 "file or directory\n");
}

// What systemd hears.
class Notified : public ::testing::Test {
 protected:
  Notified() : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    const sockaddr_un address = address_of(dir_ / "notify");
    EXPECT_EQ(bind(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
  }
  ~Notified() override { close(fd_); }

  std::string heard() const {
    char text[1000];
    const ssize_t length = recv(fd_, text, sizeof text, MSG_DONTWAIT);
    return length < 0 ? "nothing" : std::string(text, static_cast<size_t>(length));
  }

  scratch_directory dir_;
  int fd_;
  setting socket_{"NOTIFY_SOCKET", (dir_ / "notify").c_str()};
  setting run_dir_{"VESK_RUN_DIR", "/some/run/dir"};
};

TEST_F(Notified, of_readiness_at_the_handshake) {
  runctl_handshake(3, 293);
  EXPECT_EQ(heard(), "READY=1\nMAINPID=" + std::to_string(getpid()) +
                         "\nSTATUS=Serving the sockets in /some/run/dir.");
}

TEST_F(Notified, of_life_at_each_heartbeat) {
  EXPECT_EQ(runctl_heartbeat(0), 0);
  EXPECT_EQ(heard(), "WATCHDOG=1");
}

TEST_F(Notified, of_long_work_before_it_begins) {
  const setting no_watchdog("WATCHDOG_USEC", nullptr);
  EXPECT_EQ(runctl_heartbeat(1), 0);
  EXPECT_EQ(heard(), "EXTEND_TIMEOUT_USEC=600000000");
  EXPECT_EQ(runctl_heartbeat(0), 0);
  EXPECT_EQ(heard(), "WATCHDOG=1");
}

TEST_F(Notified, of_a_longer_watchdog_interval_for_the_time_of_long_work) {
  const setting watchdog("WATCHDOG_USEC", "30000000");
  const setting pid("WATCHDOG_PID", nullptr);
  EXPECT_EQ(runctl_heartbeat(1), 0);
  EXPECT_EQ(heard(), "WATCHDOG=1\nEXTEND_TIMEOUT_USEC=600000000\nWATCHDOG_USEC=600000000");
  EXPECT_EQ(runctl_heartbeat(0), 0);
  EXPECT_EQ(heard(), "WATCHDOG=1\nWATCHDOG_USEC=30000000");
  EXPECT_EQ(runctl_heartbeat(0), 0);
  EXPECT_EQ(heard(), "WATCHDOG=1");
}

TEST(Runctl, gets_along_without_systemd) {
  const setting none("NOTIFY_SOCKET", nullptr);
  runctl_handshake(3, 293);
  EXPECT_EQ(runctl_heartbeat(0), 0);
  EXPECT_EQ(runctl_heartbeat(1), 0);
}

TEST(Runctl, leaves_messages_that_are_not_its_own) {
  client sender;
  sender.send(1151, "x");
  ipq_msg *msg = next_message();
  EXPECT_EQ(runctl_dispatch(msg), 2);
  ipq_drop(queue(), msg);
}

TEST(Runctl, passes_a_switchover_on_and_answers_with_the_result) {
  const stderr_capture captured;
  client sender;
  const uint32_t before = switchovers;
  sender.send(60003, bytes_of(uint32_t{77}));
  ipq_msg *msg = next_message();
  EXPECT_EQ(runctl_dispatch(msg), RUNCTL_TOOK);
  ipq_drop(queue(), msg);
  EXPECT_EQ(switchovers - before, 1U);
  EXPECT_EQ(last_context, 77U);
  EXPECT_EQ(captured.text(), "<5>vesk host: switchover 77 handled, result 5\n");
  const auto answer = sender.receive();
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->header.flags, VESK_WIRE_ANSWER);
  EXPECT_EQ(answer->payload, bytes_of(uint32_t{0}));
}

TEST(Runctl, refuses_a_switchover_without_its_context) {
  const stderr_capture quiet;
  client sender;
  const uint32_t before = switchovers;
  sender.send(60003, "abc");
  ipq_msg *msg = next_message();
  EXPECT_EQ(runctl_dispatch(msg), RUNCTL_TOOK);
  ipq_drop(queue(), msg);
  EXPECT_EQ(switchovers, before);
  const auto refusal = sender.receive();
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->header.flags, VESK_WIRE_REFUSED);
  EXPECT_EQ(refusal->payload, bytes_of(uint32_t{4}));
}

}  // namespace
}  // namespace vesk::test
