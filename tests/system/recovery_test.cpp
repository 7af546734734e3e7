// What becomes of damaged files: at a first start after a reboot, at a restart, and on request.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>

#include "tests/support/poll.h"
#include "tests/support/running_daemon.h"

namespace vesk::test {

namespace {

constexpr char log_path[] = "/mnt/vesk/vesk.log";

class Recovery : public daemon_test {
 protected:
  // Three entries: headers at 20, 44 and 68, `end` at 96.
  void store_three() {
    for (const char *data : {"one", "two", "three"}) {
      ASSERT_TRUE(stores(sender, good_record(data)));
    }
  }

  // What a reboot leaves of the run directory.
  void reboot() {
    std::filesystem::remove_all("/run/vesk");
    daemon.start();
  }

  bool said(const std::string &line) const { return contains(daemon.printed(), line + "\n"); }
};

// One byte, changed so that the checksum over it no longer holds.
void break_byte(std::streamoff offset) {
  std::fstream file(log_path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekg(offset);
  const char byte = static_cast<char>(file.get() ^ 0x5A);
  file.seekp(offset);
  file.put(byte);
}

TEST_F(Recovery, first_start_after_a_reboot_keeps_sound_files_as_they_are) {
  store_three();
  const std::string before = contents_of(log_path);
  for (const int signal : {SIGKILL, SIGTERM}) {
    daemon.stop(signal);
    reboot();
    EXPECT_EQ(contents_of(log_path), before);
  }
  EXPECT_TRUE(said("<3>ERROR: vesk_check_file_corrupted start 20 end 96 max 1048576 "));
}

TEST_F(Recovery, restart_trusts_the_files_as_they_are) {
  store_three();
  for (const int signal : {SIGKILL, SIGTERM}) {
    daemon.stop(signal);
    break_byte(28);
    const std::string before = contents_of(log_path);
    daemon.start();
    EXPECT_EQ(contents_of(log_path), before);
    break_byte(28);  // sound again for the next round
  }
  EXPECT_FALSE(contains(daemon.printed(), "vesk_check_file_corrupted"));
}

// The damaged header at 20 and its data become a null entry. The header at 44 gets the null entry's
// size, and with it a checksum that does not hold: there the chain ends now.
TEST_F(Recovery, first_start_after_a_reboot_repairs_what_is_damaged) {
  store_three();
  daemon.stop(SIGKILL);
  break_byte(28);
  reboot();
  EXPECT_TRUE(said("<3>ERROR: Bad ehdr at offset at start 20 entry count 0"));
  EXPECT_TRUE(said("<3>ERROR: File /mnt/vesk/vesk.log had internal error or is corrupted 2."));
  EXPECT_TRUE(said("<3>Adding NULL entry at 20 with size 4 "));
  EXPECT_TRUE(said("<3>Updating eheader at 44 with size 4"));
  EXPECT_TRUE(said("<3>Updating gheader start 20 end 44 max 1048576.")) << daemon.printed();
  EXPECT_TRUE(stores(sender, good_record("four")));
  EXPECT_EQ(shown_data("vesk"), std::vector<std::string>{"four"});
}

TEST_F(Recovery, first_start_after_a_reboot_removes_what_cannot_be_repaired) {
  store_three();
  daemon.stop(SIGKILL);
  break_byte(4);  // the version
  reboot();
  EXPECT_TRUE(said("<3>ERROR: Version mismatch in gheader, deleting the file /mnt/vesk/vesk.log"));
  EXPECT_TRUE(eventually([] { return !exists(log_path); }));
  EXPECT_TRUE(stores(sender, good_record("four")));
  EXPECT_EQ(shown_data("vesk"), std::vector<std::string>{"four"});
}

TEST_F(Recovery, request_rebuilds_the_global_header_of_a_running_daemons_file) {
  store_three();
  break_byte(28);
  EXPECT_EQ(run({"veskctl", "recover", "vesk"}).status, 0);
  EXPECT_TRUE(said("<3>gheader recovery start first phase  20 end 96 max 1048576 "));
  EXPECT_TRUE(said("<3>Updating gheader start 20 end 44 max 1048576.")) << daemon.printed();
  EXPECT_EQ(shown_data("vesk"), std::vector<std::string>{});
}

// The damage lies in front of the first good entry, so that the start moves behind it.
TEST_F(Recovery, request_for_the_entries_moves_the_start) {
  store_three();
  break_byte(28);
  EXPECT_EQ(run({"veskctl", "recover", "vesk", "--entries"}).status, 0);
  EXPECT_TRUE(said("<3>eheader recovery start 20 end 96 max 1048576."));
  EXPECT_TRUE(said("<3>Updating gheader start 44 end 96 max 1048576.")) << daemon.printed();
}

TEST_F(Recovery, request_removes_what_cannot_be_repaired) {
  store_three();
  break_byte(8);  // the capacity in the global header, and so its checksum
  EXPECT_EQ(run({"veskctl", "recover", "vesk"}).status, 0);
  EXPECT_TRUE(said("<3>ERROR: could not get gheader entries for /mnt/vesk/vesk.log"));
  EXPECT_TRUE(said("<3>ERROR: Removing file /mnt/vesk/vesk.log."));
  EXPECT_TRUE(eventually([] { return !exists(log_path); }));
}

TEST_F(Recovery, request_is_refused_once_the_flash_has_failed) {
  store_three();
  break_byte(28);
  const std::string before = contents_of(log_path);
  EXPECT_EQ(run({"veskctl", "fail-notice", "--slot", this_slot}).status, 0);
  EXPECT_EQ(run({"veskctl", "recover", "vesk"}).status, 0);
  EXPECT_TRUE(said("<3>ERROR: Cannot recover vesk file due to bootflash failure."));
  EXPECT_EQ(contents_of(log_path), before);
}

TEST_F(Recovery, request_for_any_type_there_is_not_harms_nothing) {
  store_three();
  const std::string before = contents_of(log_path);
  for (const uint32_t type : {0u, 38u, 63u, 64u, 0x40000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(sender.request(1158, words({type, 1})).header.flags, VESK_WIRE_RECEIPT);
  }
  EXPECT_EQ(contents_of(log_path), before);
  EXPECT_TRUE(stores(sender, good_record("four")));
}

}  // namespace

}  // namespace vesk::test
