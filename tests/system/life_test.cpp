// From start to end: the access point, restarts, and what is announced.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cstring>
#include <filesystem>

#include "tests/support/poll.h"
#include "tests/support/running_daemon.h"

namespace vesk::test {

namespace {

using Life = daemon_test;

constexpr char socket_path[] = "/run/vesk/sap-1016";

TEST_F(Life, second_daemon_is_refused_and_the_first_goes_on) {
  const ended second = run({"vesk_sup"});
  EXPECT_EQ(second.status, 4);
  EXPECT_TRUE(contains(second.err, "/run/vesk/sap-1016")) << second;
  EXPECT_TRUE(stores(sender, good_record("first")));
}

TEST_F(Life, dead_daemons_socket_is_replaced) {
  ASSERT_EQ(daemon.stop(SIGKILL), 128 + SIGKILL);
  ASSERT_TRUE(exists(socket_path));
  EXPECT_EQ(sender.send(1162, {}), 0u) << "nobody should listen";
  daemon.start();
  EXPECT_TRUE(stores(sender, good_record("second")));
}

TEST_F(Life, socket_left_by_anybody_is_replaced) {
  ASSERT_EQ(daemon.stop(SIGTERM), 3);
  std::filesystem::remove(socket_path);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, socket_path);
  {
    const unique_fd stale(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(bind(stale.get(), reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
  }
  daemon.start();
  EXPECT_TRUE(stores(sender, good_record("replaced")));
}

TEST_F(Life, file_in_the_sockets_place_is_not_removed) {
  ASSERT_EQ(daemon.stop(SIGTERM), 3);
  std::filesystem::remove(socket_path);
  ASSERT_EQ(run({"touch", socket_path}).status, 0);
  const ended refused = run({"vesk_sup"});
  EXPECT_EQ(refused.status, 4);
  EXPECT_TRUE(exists(socket_path));
}

TEST_F(Life, socket_is_for_owner_and_group) {
  struct stat status {};
  ASSERT_EQ(stat(socket_path, &status), 0);
  EXPECT_TRUE(S_ISSOCK(status.st_mode));
  EXPECT_EQ(status.st_mode & 0777, 0660u);
}

TEST_F(Life, up_is_announced_twice_at_a_restart) {
  program monitor({"veskctl", "monitor", "--count", "2", "--timeout", "10"});
  ASSERT_TRUE(eventually([] { return !std::filesystem::is_empty("/run/vesk/listeners"); }));
  ASSERT_EQ(daemon.stop(SIGTERM), 3);
  daemon.start();
  const ended result = monitor.wait();
  EXPECT_EQ(result.status, 0) << result;
  const auto lines = lines_of(result.out);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].substr(0, 3), "UP ");
  EXPECT_EQ(lines[1].substr(0, 3), "UP ");
}

TEST_F(Life, restart_enables_every_file_type_again) {
  ASSERT_EQ(run({"veskctl", "disable", "all"}).status, 0);
  ASSERT_FALSE(stores(sender, good_record("disabled")));
  ASSERT_EQ(daemon.stop(SIGKILL), 128 + SIGKILL);
  daemon.start();
  EXPECT_TRUE(stores(sender, good_record("enabled")));
}

TEST_F(Life, old_log_directory_is_migrated) {
  ASSERT_TRUE(stores(sender, good_record("from the old directory")));
  ASSERT_EQ(daemon.stop(SIGTERM), 3);
  std::filesystem::create_directories("/mnt/qvd/vesk");
  std::filesystem::rename("/mnt/vesk/vesk.log", "/mnt/qvd/vesk/vesk.log");
  daemon.start();
  EXPECT_FALSE(exists("/mnt/qvd/vesk"));
  EXPECT_EQ(shown_data("vesk"), std::vector<std::string>{"from the old directory"});
}

TEST_F(Life, unknown_slot_is_a_reason_to_end) {
  ASSERT_EQ(daemon.stop(SIGTERM), 3);
  const ended result = run({"env", "VESK_SLOT=left", "vesk_sup"});
  EXPECT_EQ(result.status, 8);
  EXPECT_TRUE(contains(result.err, "ERROR: Failed to get card slot num  errno 22\n")) << result;
}

TEST_F(Life, missing_log_directory_is_no_reason_to_end) {
  ASSERT_EQ(daemon.stop(SIGTERM), 3);
  std::filesystem::remove_all("/mnt/vesk");
  daemon.start();
  EXPECT_TRUE(contains(daemon.printed(), "ERROR: Failed to stat dir /mnt/vesk/ 2\n"));
  EXPECT_FALSE(stores(sender, good_record("nowhere to go")));
  std::filesystem::create_directory("/mnt/vesk");
  EXPECT_TRUE(stores(sender, good_record("there again")));
}

}  // namespace

}  // namespace vesk::test
