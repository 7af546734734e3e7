// Snapshots of the log files of a daemon that goes on writing.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "tests/support/running_daemon.h"

namespace vesk::test {

namespace {

class Snapshots : public daemon_test {
 protected:
  void SetUp() override {
    std::filesystem::remove_all(target_);
    daemon_test::SetUp();
  }

  const std::string target_ = "/tmp/copy";
};

TEST_F(Snapshots, are_read_by_veskshow_and_checked_by_sha256sum) {
  ASSERT_TRUE(stores(sender, good_record("kept")));
  ASSERT_TRUE(stores(sender, good_record("kept too", 25)));
  ASSERT_EQ(run({"veskctl", "snapshot", target_}).status, 0);
  ASSERT_TRUE(stores(sender, good_record("too late")));
  const ended shown = run({"veskshow", "-D", target_, "vesk"});
  EXPECT_EQ(shown.status, 0) << shown;
  EXPECT_TRUE(contains(shown.out, "kept\n")) << shown;
  EXPECT_FALSE(contains(shown.out, "too late")) << shown;
  const ended checked = run({"sh", "-c", "cd " + target_ + " && sha256sum -c SHA256SUMS"});
  EXPECT_EQ(checked.status, 0) << checked;
}

// The smallest file wraps every 67 records of this size, so that it is rewritten all the time.
TEST_F(Snapshots, hold_together_while_the_daemon_writes) {
  const std::string data(100, 'x');
  std::atomic<bool> enough = false;
  std::atomic<uint32_t> sent = 0;
  std::thread writer([&] {
    wire_socket own;
    while (!enough) {
      if (stores(own, good_record(data, 7))) ++sent;
    }
  });
  while (sent < 100) usleep(1000);
  for (int i = 0; i < 20; ++i) {
    std::filesystem::remove_all(target_);
    const uint32_t before = sent;
    const ended end = run({"veskctl", "snapshot", target_});
    EXPECT_EQ(end.status, 0) << end;
    EXPECT_TRUE(contains(end.out, " sound\n")) << end;
    EXPECT_EQ(run({"veskshow", "-D", target_, "temperature_err"}).status, 0);
    EXPECT_GT(sent, before) << "the writer was at it";
  }
  enough = true;
  writer.join();
}

}  // namespace

}  // namespace vesk::test
