// What the daemon takes of the machine: memory and descriptors.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdlib>
#include <string>

#include "tests/support/poll.h"
#include "tests/support/running_daemon.h"

namespace vesk::test {

namespace {

using Resources = daemon_test;

std::string numbered(int number) {
  return "record " + std::to_string(number);
}

// One of everything that opens something: records that are stored, refused and cannot be opened,
// statistics, a command that changes nothing, one that deletes a file, and a bad message.
void exercise(wire_socket &sender, int round) {
  ASSERT_TRUE(stores(sender, good_record(numbered(round))));
  ASSERT_TRUE(stores(sender, {{.len = 30, .file_type = 25, .sync = 2}}));
  ASSERT_FALSE(stores(sender, good_record("too large for its file", 0)));
  ASSERT_FALSE(stores(sender, good_record("a directory is in its place", 6)));
  ASSERT_EQ(sender.request(1152, {}).payload.size(), 21896u);
  ASSERT_EQ(sender.request(1153, half_words({1, 0})).payload.size(), 8u);
  ASSERT_EQ(sender.request(1153, half_words({3, 36})).payload.size(), 8u);
  ASSERT_EQ(sender.request(4711, {}).header.flags, VESK_WIRE_RECEIPT);
}

TEST_F(Resources, descriptors_do_not_leak) {
  ASSERT_EQ(daemon.stop(15), 3);
  ASSERT_EQ(run({"mkdir", "/mnt/vesk/temperature_history.log"}).status, 0);
  daemon.start([] {
    const rlimit few{20, 20};
    setrlimit(RLIMIT_NOFILE, &few);
  });
  for (int round = 0; round < 50; ++round) ASSERT_NO_FATAL_FAILURE(exercise(sender, round));
}

TEST_F(Resources, resident_memory_stays_below_8_mib) {
  if (sanitized) GTEST_SKIP() << "a sanitizer takes memory of its own";
  const std::string status_file = "/proc/" + std::to_string(daemon.process()) + "/status";
  if (!exists(status_file)) GTEST_SKIP() << "this private root has no /proc to read it from";
  for (int round = 0; round < 50; ++round) {
    ASSERT_TRUE(stores(sender, {{.len = 60000, .file_type = 21, .sync = 1}}));
    ASSERT_EQ(sender.request(1152, {}).payload.size(), 21896u);
  }
  for (const auto &line : lines_of(contents_of(status_file))) {
    constexpr std::string_view peak = "VmHWM:";
    if (line.starts_with(peak)) {
      const int kib = std::stoi(line.substr(peak.size()));
      RecordProperty("resident_kib", kib);
      EXPECT_LT(kib, 8192);
      return;
    }
  }
  FAIL() << "no VmHWM in " << status_file;
}

}  // namespace

}  // namespace vesk::test
