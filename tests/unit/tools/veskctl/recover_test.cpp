// veskctl recover: the file is kept as it is before the daemon is asked to repair it.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/support/pattern.h"
#include "tests/support/ring_builder.h"
#include "tests/unit/tools/veskctl/run_veskctl.h"

namespace vesk::test {
namespace {

namespace fs = std::filesystem;

constexpr char copies[] = "/var/lib/vesk/preserved";

// An empty log directory, and no copies.
class RecoverWithCopy : public ::testing::Test {
 protected:
  RecoverWithCopy() { clear(); }
  ~RecoverWithCopy() override { clear(); }

  static void clear() {
    fs::remove_all("/mnt/vesk");
    fs::create_directories("/mnt/vesk");
    fs::remove_all("/var/lib/vesk");
  }

  ended recover(const std::vector<std::string> &arguments) {
    std::vector<std::string> all = {"recover"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    ended end = veskctl(dir_, all);
    end.out = pattern("-20[0-9]{6}T[0-9]{6}Z").replaced(end.out, "-TIME");
    return end;
  }

  // Everything that is kept of this file, the oldest first.
  std::vector<std::string> kept(const std::string &name) {
    std::vector<std::string> sets, contents;
    if (!fs::exists(copies)) return {};
    for (const auto &set : fs::directory_iterator(copies)) sets.push_back(set.path());
    std::sort(sets.begin(), sets.end());
    for (const std::string &set : sets) {
      if (fs::exists(set + '/' + name)) contents.push_back(contents_of(set + '/' + name));
    }
    return contents;
  }

  run_dir dir_;
  fake_service service_{dir_, receipt_always};
};

TEST_F(RecoverWithCopy, keeps_a_sound_file_too_and_says_where) {
  const log_file file = ring(5).entries(2, 12).make();
  const ended end = recover({"vesk"});
  EXPECT_EQ(end.out,
            "vesk.log copied to /var/lib/vesk/preserved/000001-TIME/vesk.log\n"
            "asked to rebuild the global header of vesk.log (5)\n");
  EXPECT_EQ(end.err, "");
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(kept("vesk.log"), std::vector<std::string>{contents_of("/mnt/vesk/vesk.log")});
  EXPECT_EQ(service_.requests().size(), 1u);
}

TEST_F(RecoverWithCopy, notes_what_the_copy_was_made_for) {
  const log_file file = ring(5).entries(2, 12).make();
  recover({"vesk"});
  const std::vector<std::string> notes = kept("verdicts.json");
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_TRUE(contains(notes[0], "  \"occasion\": \"recover\",\n")) << notes[0];
  EXPECT_TRUE(contains(notes[0], "      \"fate\": \"keep\"\n")) << notes[0];
}

TEST_F(RecoverWithCopy, says_where_the_same_bytes_are_kept_already) {
  const log_file file = ring(5).entries(2, 12).make();
  recover({"vesk"});
  const ended again = recover({"vesk", "--entries"});
  EXPECT_EQ(again.out,
            "vesk.log has not changed since the copy "
            "/var/lib/vesk/preserved/000001-TIME/vesk.log\n"
            "asked to repair the entry headers of vesk.log (5)\n");
  EXPECT_EQ(kept("vesk.log").size(), 1u);
  EXPECT_EQ(service_.requests().size(), 2u);
}

TEST_F(RecoverWithCopy, copies_no_other_file) {
  const log_file file = ring(5).entries(2, 12).make();
  const log_file damaged = ring(7).entry(1024, 8).entry(1025, 8).damage_at(48, 20).make();
  recover({"vesk"});
  EXPECT_TRUE(kept("temperature_err.log").empty());
}

TEST_F(RecoverWithCopy, makes_no_copy_when_told_so) {
  const log_file file = ring(5).entries(2, 12).make();
  EXPECT_EQ(recover({"vesk", "--no-copy"}).out,
            "asked to rebuild the global header of vesk.log (5)\n");
  EXPECT_FALSE(fs::exists(copies));
}

TEST_F(RecoverWithCopy, asks_without_a_copy_where_there_is_no_file) {
  for (const char *type : {"vesk", "38"}) EXPECT_EQ(recover({type}).status, 0) << type;
  EXPECT_FALSE(fs::exists(copies));
  EXPECT_EQ(service_.requests().size(), 2u);
}

TEST_F(RecoverWithCopy, does_not_ask_when_there_can_be_no_copy) {
  const log_file file = ring(5).entries(2, 12).make();
  fs::create_directories("/var/lib/vesk");
  std::ofstream{copies} << "no directory";
  const ended end = recover({"vesk"});
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.out, "");
  EXPECT_EQ(end.err,
            "veskctl: /var/lib/vesk/preserved: cannot keep copies there: Not a directory\n"
            "veskctl: so the daemon was not asked to repair it; --no-copy asks all the same\n");
  EXPECT_TRUE(service_.requests().empty());
}

TEST_F(RecoverWithCopy, does_not_ask_when_the_file_cannot_be_read) {
  fs::create_directory("/mnt/vesk/vesk.log");
  const ended end = recover({"vesk"});
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.err,
            "veskctl: /mnt/vesk/vesk.log: Is a directory\n"
            "veskctl: so the daemon was not asked to repair it; --no-copy asks all the same\n");
  EXPECT_TRUE(service_.requests().empty());
}

}  // namespace
}  // namespace vesk::test
