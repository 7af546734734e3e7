// What a repair takes away is still there in the copy that was made before it.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/support/poll.h"
#include "tests/support/running_daemon.h"

namespace vesk::test {

namespace {

namespace fs = std::filesystem;

constexpr char log_path[] = "/mnt/vesk/vesk.log";
constexpr char copies[] = "/var/lib/vesk/preserved";

class Preserved : public daemon_test {
 protected:
  void SetUp() override {
    daemon_test::SetUp();
    fs::remove_all("/var/lib/vesk");
    // Headers at 20, 44 and 68, `end` at 96.
    for (const char *data : {"one", "two", "three"}) {
      ASSERT_TRUE(stores(sender, good_record(data)));
    }
  }

  void TearDown() override {
    daemon_test::TearDown();
    fs::remove_all("/var/lib/vesk");
  }

  // What the service does at a boot.
  ended boot() {
    daemon.stop(SIGKILL);
    fs::remove_all("/run/vesk");
    const ended kept = run({"veskshow", "--preserve", copies});
    daemon.start();
    return kept;
  }

  // One byte, changed so that the checksum over it no longer holds.
  static void break_byte(std::streamoff offset) {
    std::fstream file(log_path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekg(offset);
    const char byte = static_cast<char>(file.get() ^ 0x5A);
    file.seekp(offset);
    file.put(byte);
  }

  // The sets of copies, the oldest first.
  static std::vector<std::string> sets() {
    std::vector<std::string> found;
    if (!fs::exists(copies)) return found;
    for (const auto &set : fs::directory_iterator(copies)) {
      if (set.is_directory()) found.push_back(set.path());
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  // The data that salvage gets out of the only set; not what it says of the damage.
  static std::vector<std::string> salvaged() {
    EXPECT_EQ(sets().size(), 1u);
    std::vector<std::string> lines =
        lines_of(run({"veskshow", "-D", sets().at(0), "--salvage", "-q", "-o", "cat", "vesk"}).out);
    std::erase_if(lines, [](const std::string &line) { return line.starts_with("veskshow: "); });
    return lines;
  }

  using texts = std::vector<std::string>;
};

TEST_F(Preserved, copy_holds_what_a_rebuild_made_unreadable) {
  break_byte(28);
  const ended kept = boot();
  EXPECT_EQ(kept.status, 0) << kept;
  EXPECT_EQ(kept.output(), "vesk.log: rebuild; copied to " + sets().at(0) + "/vesk.log\n");
  EXPECT_EQ(shown_data("vesk"), texts{});
  EXPECT_EQ(salvaged(), (texts{"two", "three"}));
}

TEST_F(Preserved, copy_holds_what_was_removed) {
  break_byte(4);  // the version
  EXPECT_EQ(boot().status, 0);
  EXPECT_TRUE(eventually([] { return !exists(log_path); }));
  EXPECT_EQ(salvaged(), (texts{"one", "two", "three"}));
}

TEST_F(Preserved, nothing_is_copied_where_the_start_keeps_everything) {
  const ended kept = boot();
  EXPECT_EQ(kept.status, 0);
  EXPECT_EQ(kept.output(), "");
  EXPECT_EQ(sets(), texts{});
  EXPECT_EQ(shown_data("vesk"), (texts{"one", "two", "three"}));
}

TEST_F(Preserved, copy_holds_a_sound_file_that_somebody_had_repaired) {
  const std::string before = contents_of(log_path);
  const ended asked = run({"veskctl", "recover", "vesk"});
  EXPECT_EQ(asked.status, 0) << asked;
  EXPECT_NE(contents_of(log_path), before);
  ASSERT_EQ(sets().size(), 1u);
  EXPECT_EQ(contents_of(sets()[0] + "/vesk.log"), before);
  EXPECT_EQ(lines_of(run({"veskshow", "-D", sets()[0], "-o", "cat"}).out),
            (texts{"one", "two", "three"}));
}

}  // namespace

}  // namespace vesk::test
