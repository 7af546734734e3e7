// veskctl snapshot: what lies in its directory, and what is said when something is wrong.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/support/pattern.h"
#include "tests/support/ring_builder.h"
#include "tests/support/without_override.h"
#include "tests/unit/tools/veskctl/run_veskctl.h"

namespace vesk::test {
namespace {

namespace fs = std::filesystem;

// A directory for snapshots, and an empty log directory.
class Snapshot : public ::testing::Test {
 protected:
  Snapshot() {
    fs::remove_all("/mnt/vesk");
    fs::create_directories("/mnt/vesk");
  }
  ~Snapshot() override {
    fs::remove_all("/mnt/vesk");
    fs::create_directories("/mnt/vesk");
  }

  ended taken(const std::vector<std::string> &more = {}) {
    std::vector<std::string> arguments = {"snapshot", target_};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return veskctl(dir_, arguments);
  }

  std::string copied(const std::string &name) { return contents_of(target_ + '/' + name); }

  // The manifest, without the moment at which the snapshot was taken.
  std::string manifest() {
    return pattern(
               "\"taken\": \"20[0-9]{2}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{6}Z\"")
        .replaced(copied("MANIFEST.json"), "\"taken\": NOW");
  }

  std::vector<std::string> names() {
    std::vector<std::string> found;
    for (const auto &file : fs::directory_iterator(target_)) {
      found.push_back(file.path().filename());
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  run_dir dir_;
  std::string target_ = dir_.path() + "/copy";
};

void set_time(const std::string &path, time_t secs, long nanoseconds) {
  const timespec times[] = {{secs, nanoseconds}, {secs, nanoseconds}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

// Two entries of 12 bytes at 20 and 52; 84 bytes in all.
ring small_ring() {
  return std::move(ring(5).entries(2, 12));
}

TEST_F(Snapshot, copies_every_log_file_and_says_what_it_copied) {
  const log_file sound = small_ring().make();
  const log_file damaged = ring(7).entry(1024, 8).entry(1025, 8).damage_at(48, 20).make();
  std::ofstream("/mnt/vesk/notes.txt") << "no log file";
  set_time(sound.path(), 1'600'000'000, 123'456'789);
  set_time(damaged.path(), 1'500'000'000, 0);

  const ended end = taken();
  EXPECT_EQ(end.status, 0) << end.err;
  EXPECT_EQ(end.err, "");
  EXPECT_EQ(end.out,
            "vesk.log                       84 bytes      2 entries  sound\n"
            "temperature_err.log            76 bytes      1 entries  the checksum of the entry "
            "header does not hold\n");
  EXPECT_EQ(names(), (std::vector<std::string>{"MANIFEST.json", "SHA256SUMS", "temperature_err.log",
                                               "vesk.log"}));
  EXPECT_EQ(copied("vesk.log"), contents_of("/mnt/vesk/vesk.log"));
  EXPECT_EQ(copied("vesk.log").size(), 84u);
  EXPECT_EQ(copied("temperature_err.log"), contents_of("/mnt/vesk/temperature_err.log"));
  EXPECT_EQ(manifest(), R"({
  "taken": NOW,
  "directory": "/mnt/vesk",
  "version": "0.1.0",
  "complete": true,
  "files": [
    {
      "name": "vesk.log",
      "type": 5,
      "copied": true,
      "size": 84,
      "modified": "2020-09-13T12:26:40.123456Z",
      "sha256": "b5dab60c2ea39b412cef29f97e6f7abcfc3afe1c9b5086f4d14dbaec842ddb0b",
      "entries": 2,
      "capacity": 1048576,
      "start": 20,
      "end": 84,
      "sound": true
    },
    {
      "name": "temperature_err.log",
      "type": 7,
      "copied": true,
      "size": 76,
      "modified": "2017-07-14T02:40:00.000000Z",
      "sha256": "cff3414f51f9556795bb65b4097faefea5770691680dd09f053967e57a7eaf55",
      "entries": 1,
      "capacity": 8192,
      "start": 20,
      "end": 76,
      "sound": false,
      "damage": {
        "offset": 48,
        "reason": "the checksum of the entry header does not hold"
      }
    }
  ]
}
)");
}

TEST_F(Snapshot, lists_sums_that_sha256sum_finds_right) {
  const log_file file = small_ring().make();
  const log_file other = ring(7).make();
  ASSERT_EQ(taken().status, 0);
  EXPECT_TRUE(
      pattern("^b5dab60c2ea39b412cef29f97e6f7abcfc3afe1c9b5086f4d14dbaec842ddb0b  vesk[.]log\n"
              "[0-9a-f]{64}  temperature_err[.]log\n"
              "[0-9a-f]{64}  MANIFEST[.]json\n$")
          .is_in(copied("SHA256SUMS")))
      << copied("SHA256SUMS");
  const std::string check = "cd " + target_ + " && sha256sum -c --strict SHA256SUMS";
  const ended right = run_shell(check, in(dir_));
  EXPECT_EQ(right.status, 0) << right.err;
  EXPECT_EQ(right.out, "vesk.log: OK\ntemperature_err.log: OK\nMANIFEST.json: OK\n");

  fs::remove(target_ + "/MANIFEST.json");
  EXPECT_NE(run_shell(check, in(dir_)).status, 0) << "unfinished";
}

TEST_F(Snapshot, keeps_the_times_to_the_nanosecond) {
  const log_file file = small_ring().make();
  set_time(file.path(), 1'600'000'000, 123'456'789);
  ASSERT_EQ(taken().status, 0);
  struct stat status {};
  ASSERT_EQ(stat((target_ + "/vesk.log").c_str(), &status), 0);
  EXPECT_EQ(status.st_mtim.tv_sec, 1'600'000'000);
  EXPECT_EQ(status.st_mtim.tv_nsec, 123'456'789);
  EXPECT_EQ(status.st_mode & 07777, 0644u);
}

TEST_F(Snapshot, takes_an_empty_directory_and_no_other_one) {
  const log_file file = small_ring().make();
  fs::create_directory(target_);
  EXPECT_EQ(taken().status, 0);
  const ended again = taken();
  EXPECT_EQ(again.status, 1);
  EXPECT_EQ(again.out, "");
  EXPECT_EQ(again.err,
            "veskctl: " + target_ + " is not empty: a snapshot needs a directory of its own\n");
}

TEST_F(Snapshot, takes_no_file_and_no_place_that_is_not_there) {
  const log_file file = small_ring().make();
  std::ofstream{dir_.path() + "/empty"};
  target_ = dir_.path() + "/empty";
  const ended on_a_file = taken();
  EXPECT_EQ(on_a_file.status, 1);
  EXPECT_EQ(on_a_file.err, "veskctl: " + target_ + ": Not a directory\n");
  target_ = dir_.path() + "/missing/copy";
  const ended nowhere = taken();
  EXPECT_EQ(nowhere.status, 1);
  EXPECT_EQ(nowhere.err, "veskctl: cannot make " + target_ + ": No such file or directory\n");
}

TEST_F(Snapshot, makes_nothing_where_there_is_nothing_to_copy) {
  const ended empty = taken();
  EXPECT_EQ(empty.status, 1);
  EXPECT_EQ(empty.err, "veskctl: there is no log file in /mnt/vesk: is the flash mounted?\n");
  const ended missing = taken({"-D", "/missing"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "veskctl: /missing: No such file or directory\n");
  EXPECT_FALSE(fs::exists(target_));
}

TEST_F(Snapshot, copies_from_the_directory_that_it_is_told) {
  const std::string source = dir_.path() + "/source";
  fs::create_directory(source);
  {
    const log_file file = small_ring().make();
    fs::copy("/mnt/vesk/vesk.log", source);
  }
  EXPECT_EQ(taken({"--directory", source}).status, 0);
  EXPECT_EQ(copied("vesk.log").size(), 84u);
  EXPECT_TRUE(contains(manifest(), "\"directory\": \"" + source + "\"")) << manifest();
}

TEST_F(Snapshot, copies_the_others_when_one_cannot_be_read) {
  const log_file file = small_ring().make();
  fs::create_directory("/mnt/vesk/platform.log");
  const ended end = taken();
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.err, "veskctl: /mnt/vesk/platform.log: Is a directory\n");
  EXPECT_EQ(end.out, "vesk.log                       84 bytes      2 entries  sound\n");
  EXPECT_EQ(names(), (std::vector<std::string>{"MANIFEST.json", "SHA256SUMS", "vesk.log"}));
  EXPECT_TRUE(contains(manifest(), "\"complete\": false")) << manifest();
  EXPECT_TRUE(contains(manifest(), R"(    {
      "name": "platform.log",
      "type": 25,
      "copied": false,
      "trouble": "Is a directory"
    }
)")) << manifest();
  EXPECT_FALSE(contains(copied("SHA256SUMS"), "platform.log"));
}

TEST_F(Snapshot, tells_of_a_header_that_cannot_be_trusted) {
  const log_file file = ring(7).entry(1024, 8).patch(0, {'x'}).make();
  ASSERT_EQ(taken().status, 0);
  EXPECT_TRUE(contains(manifest(), R"(      "entries": 0,
      "sound": false,
      "damage": {
        "offset": 0,)"))
      << manifest();
}

TEST_F(Snapshot, is_not_finished_when_its_directory_cannot_be_written) {
  const log_file file = small_ring().make();
  fs::create_directory(target_);
  ASSERT_EQ(chmod(target_.c_str(), 0500), 0);
  const without_override ordinary;
  if (!ordinary.programs()) GTEST_SKIP() << "this root cannot start a program as anybody less";
  const ended end = taken();
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.out, "");
  EXPECT_EQ(end.err, "veskctl: /mnt/vesk/vesk.log: cannot write " + target_ +
                         "/vesk.log: Permission denied\n"
                         "veskctl: the snapshot in " +
                         target_ + " is not finished: Permission denied\n");
}

}  // namespace
}  // namespace vesk::test
