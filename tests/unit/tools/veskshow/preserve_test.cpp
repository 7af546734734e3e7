// --preserve: which files are copied, when copies go again, and what harms neither them nor others.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/file_bytes.h"
#include "tests/support/pattern.h"
#include "tests/unit/tools/veskshow/run_veskshow.h"

namespace vesk::test {
namespace {

namespace fs = std::filesystem;

constexpr size_t kib = 1024;

// An entry of 28 bytes, which a repair leaves alone when prev_size is the size of the one before.
std::string item(uint16_t prev_size) {
  return entry({.prev_size = prev_size}, "eight by");
}

// A file that is rebuilt, and from which salvage gets all five items.
std::string to_be_rebuilt() {
  return file_of(item(20) + item(8) + stale(24) + item(8) + item(8) + item(0));
}

// Files that are removed; those of one size differ by the letter.
std::string to_be_removed(size_t size, char letter = 'a') {
  return std::string(size, letter);
}

mode_t mode_of(const std::string &path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

class Preserve : public ::testing::Test {
 protected:
  ended preserve(const std::vector<std::string> &more = {}) {
    std::vector<std::string> arguments = {"-D", logs.path(), "--preserve", copies()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return veskshow(arguments);
  }

  // Runs it and expects this output, nothing on standard error, and success. Times are left out.
  void expect_output(const std::string &out, const std::vector<std::string> &more = {}) {
    const ended result = preserve(more);
    EXPECT_EQ(without_times(result.out), out);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
  }

  // Runs it and expects it to fail with this on standard error.
  void expect_problem(const std::string &err, const std::vector<std::string> &more = {}) {
    const ended result = preserve(more);
    EXPECT_EQ(without_times(result.err), err);
    EXPECT_EQ(result.status, 1);
  }

  // Sets are called by their numbers, and directories by what they are for.
  std::string without_times(std::string text) const {
    const auto replace_all = [&text](const pattern &what, const std::string &other) {
      while (what.is_in(text)) text = what.replaced(text, other);
    };
    replace_all(pattern("-20[0-9]{6}T[0-9]{6}Z"), "");
    replace_all(pattern(copies()), "COPIES");
    replace_all(pattern(logs.path()), "LOGS");
    return text;
  }

  std::string copies() const { return place / "copies"; }

  // The names in a directory, sorted; sets by their numbers alone.
  std::vector<std::string> names_in(const std::string &directory) const {
    std::vector<std::string> names;
    for (const auto &file : fs::directory_iterator(directory)) {
      names.push_back(without_times(file.path().filename()));
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  // The whole path of the set with this number.
  std::string set(const std::string &number) const {
    for (const auto &file : fs::directory_iterator(copies())) {
      if (file.path().filename().string().starts_with(number + "-")) return file.path();
    }
    ADD_FAILURE() << "there is no set " << number;
    return {};
  }

  uint64_t bytes_taken() const {
    uint64_t sum = 0;
    for (const auto &file : fs::recursive_directory_iterator(copies())) {
      if (file.is_regular_file()) sum += file.file_size();
    }
    return sum;
  }

  using list = std::vector<std::string>;

  scratch_directory logs;
  scratch_directory place;
};

std::string content_of(const std::string &path) {
  std::string bytes;
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  char buffer[4096];
  for (ssize_t got; (got = read(fd, buffer, sizeof buffer)) > 0;) {
    bytes.append(buffer, static_cast<size_t>(got));
  }
  close(fd);
  return bytes;
}

// --- what is copied ---

TEST_F(Preserve, copies_what_a_first_start_would_change_or_remove) {
  store(logs / "temperature_err.log", to_be_rebuilt());
  store(logs / "platform.log", to_be_removed(60));
  store(logs / "kyte.log", gheader(131072, 20, 104) + alpha() + beta() + gamma_ray());
  expect_output(
      "temperature_err.log: rebuild; copied to COPIES/000001/temperature_err.log\n"
      "platform.log: remove; copied to COPIES/000001/platform.log\n");
  EXPECT_EQ(names_in(copies()), (list{".lock", "000001"}));
  EXPECT_EQ(names_in(set("000001")),
            (list{"platform.log", "temperature_err.log", "verdicts.json"}));
  EXPECT_EQ(content_of(set("000001") + "/temperature_err.log"), to_be_rebuilt());
  EXPECT_EQ(content_of(set("000001") + "/platform.log"), to_be_removed(60));
}

TEST_F(Preserve, copies_what_waits_for_its_repair_behind_a_kernel_log) {
  std::string kernel = gheader(8388608, 8388588, 20);
  kernel.resize(8388608);
  store(logs / "kernel.log", kernel);
  store(logs / "platform.log", gheader(1048576, 44, 44) + item(20));
  expect_output(
      "kernel.log: stay marked; copied to COPIES/000001/kernel.log\n"
      "platform.log: stay marked; copied to COPIES/000001/platform.log\n");
}

TEST_F(Preserve, is_silent_where_nothing_is_in_danger) {
  expect_output("");
  store(logs / "temperature_err.log", file_of(alpha()));
  expect_output("");
  EXPECT_FALSE(fs::exists(copies()));
}

TEST_F(Preserve, notes_the_fates) {
  store(logs / "temperature_err.log", to_be_rebuilt());
  store(logs / "platform.log", to_be_removed(60));
  preserve();
  const std::string note =
      pattern("\"preserved\": \"20[0-9-]{8}T[0-9:]{8}[.][0-9]{6}Z\"")
          .replaced(without_times(content_of(set("000001") + "/verdicts.json")),
                    "\"preserved\": NOW");
  EXPECT_EQ(note, R"({
  "preserved": NOW,
  "directory": "LOGS",
  "occasion": "start",
  "files": [
    {
      "name": "temperature_err.log",
      "type": 7,
      "size": 184,
      "modified": "2024-05-01T12:00:00.000000Z",
      "sha256": "92b1111babac46c74d692d4771f2164542c62da6d9a093c17c67292766e9f879",
      "fate": "rebuild",
      "offset": 76,
      "reason": "the checksum of the entry header does not hold"
    },
    {
      "name": "platform.log",
      "type": 25,
      "size": 60,
      "modified": "2024-05-01T12:00:00.000000Z",
      "sha256": "11ee391211c6256460b6ed375957fadd8061cafbb31daf967db875aebd5aaad4",
      "fate": "remove",
      "offset": 4,
      "reason": "format version 97 is not known"
    }
  ]
}
)");
}

TEST_F(Preserve, makes_copies_that_are_read_like_any_other_file) {
  store(logs / "temperature_err.log", to_be_rebuilt());
  preserve();
  const ended saved = veskshow({"-D", set("000001"), "--salvage", "-q", "-o", "cat"});
  EXPECT_EQ(saved.out, "eight by\neight by\neight by\neight by\neight by\n");
  const ended verified = veskshow({"-D", set("000001"), "--verify"});
  EXPECT_TRUE(verified.out.starts_with(
      "temperature_err.log: damaged; the next first start would rebuild its global header\n"))
      << verified.out;
  fs::permissions(place.path(), fs::perms{0755});
  const ended plain = veskshow_as_nobody({"-D", set("000001"), "-o", "cat"});
  EXPECT_EQ(plain.out, "eight by\neight by\n") << "what the ring still leads to";
}

TEST_F(Preserve, makes_copies_as_readable_as_the_files_and_keeps_their_times) {
  store(logs / "platform.log", to_be_removed(60));
  preserve();
  EXPECT_EQ(mode_of(copies()), 0755u);
  EXPECT_EQ(mode_of(copies() + "/.lock"), 0600u) << "only its owner can keep others waiting";
  EXPECT_EQ(mode_of(set("000001")), 0755u);
  struct stat status {};
  ASSERT_EQ(stat((set("000001") + "/platform.log").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0644u);
  EXPECT_EQ(status.st_mtim.tv_sec, time_t{noon});
}

TEST_F(Preserve, changes_nothing_in_the_log_directory) {
  store(logs / "platform.log", to_be_removed(60));
  const timespec times[] = {{noon, 0}, {noon, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, logs.path().c_str(), times, 0), 0);
  preserve();
  EXPECT_EQ(names_in(logs.path()), list{"platform.log"});
  EXPECT_EQ(content_of(logs / "platform.log"), to_be_removed(60));
  struct stat status {};
  ASSERT_EQ(stat(logs.path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mtim.tv_sec, time_t{noon});
}

// --- bytes that are kept already ---

TEST_F(Preserve, makes_no_second_copy_of_the_same_bytes) {
  store(logs / "platform.log", to_be_removed(60));
  preserve();
  for (int restart = 0; restart < 3; ++restart) expect_output("");
  EXPECT_EQ(names_in(copies()), (list{".lock", "000001"}));
}

TEST_F(Preserve, copies_again_what_has_changed) {
  store(logs / "platform.log", to_be_removed(60, 'a'));
  store(logs / "temperature_err.log", to_be_rebuilt());
  preserve();
  store(logs / "platform.log", to_be_removed(60, 'b'));
  expect_output("platform.log: remove; copied to COPIES/000002/platform.log\n");
  store(logs / "platform.log", to_be_removed(60, 'a'));
  expect_output("platform.log: remove; copied to COPIES/000003/platform.log\n");
  EXPECT_EQ(names_in(set("000003")), (list{"platform.log", "verdicts.json"}));
}

TEST_F(Preserve, counts_on_whatever_the_clock_says) {
  fs::create_directories(copies() + "/000041-20990101T000000Z");
  store(logs / "platform.log", to_be_removed(60));
  expect_output("platform.log: remove; copied to COPIES/000042/platform.log\n");
}

// --- bounds ---

TEST_F(Preserve, removes_the_oldest_to_stay_within_the_limit) {
  const list one = {".lock", "000001"}, two = {".lock", "000001", "000002"},
             later = {".lock", "000002", "000003"};
  store(logs / "platform.log", to_be_removed(400 * kib, 'a'));
  preserve({"--preserve-limit", "1"});
  EXPECT_EQ(names_in(copies()), one);
  store(logs / "platform.log", to_be_removed(400 * kib, 'b'));
  preserve({"--preserve-limit", "1"});
  EXPECT_EQ(names_in(copies()), two);
  store(logs / "platform.log", to_be_removed(400 * kib, 'c'));
  expect_output(
      "COPIES/000001: removed to make room\n"
      "platform.log: remove; copied to COPIES/000003/platform.log\n",
      {"--preserve-limit", "1"});
  EXPECT_EQ(names_in(copies()), later);
  EXPECT_LE(bytes_taken(), 1024 * kib);
  EXPECT_EQ(content_of(set("000003") + "/platform.log"), to_be_removed(400 * kib, 'c'));
}

TEST_F(Preserve, keeps_what_lies_in_the_log_directory_now_however_old_the_copy_is) {
  store(logs / "vesk.log", to_be_removed(400 * kib, 'v'));
  preserve({"--preserve-limit", "1"});
  store(logs / "platform.log", to_be_removed(400 * kib, 'a'));
  preserve({"--preserve-limit", "1"});
  store(logs / "platform.log", to_be_removed(400 * kib, 'b'));
  expect_output(
      "COPIES/000002: removed to make room\n"
      "platform.log: remove; copied to COPIES/000003/platform.log\n",
      {"--preserve-limit", "1"});
  EXPECT_EQ(names_in(copies()), (list{".lock", "000001", "000003"}));
}

TEST_F(Preserve, fits_in_what_it_can_and_tells_of_the_rest) {
  store(logs / "vesk.log", to_be_removed(700 * kib));
  store(logs / "platform.log", to_be_removed(500 * kib));
  const ended result = preserve({"--preserve-limit", "1"});
  EXPECT_EQ(without_times(result.out),
            "platform.log: remove; copied to COPIES/000001/platform.log\n");
  EXPECT_EQ(without_times(result.err),
            "veskshow: LOGS/vesk.log: its 716800 bytes do not fit within the limit, so it is not "
            "copied\n");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(names_in(set("000001")), (list{"platform.log", "verdicts.json"}));
}

TEST_F(Preserve, takes_what_is_removed_before_what_is_only_rebuilt) {
  std::string rebuilt = gheader(1048576, 44, 44) + item(20);
  rebuilt.resize(500 * kib);
  store(logs / "vesk.log", rebuilt);
  store(logs / "platform.log", to_be_removed(700 * kib));
  const ended result = preserve({"--preserve-limit", "1"});
  EXPECT_EQ(without_times(result.out),
            "platform.log: remove; copied to COPIES/000001/platform.log\n");
  EXPECT_EQ(result.status, 1);
}

TEST_F(Preserve, holds_to_a_lower_limit_too) {
  for (const char letter : {'a', 'b', 'c'}) {
    store(logs / "platform.log", to_be_removed(400 * kib, letter));
    preserve();
  }
  fs::remove(logs / "platform.log");
  expect_output("COPIES/000001: removed to make room\n", {"--preserve-limit", "1"});
}

// --- interruptions and full disks ---

TEST_F(Preserve, never_takes_an_interrupted_copy_for_a_whole_one) {
  fs::create_directories(copies() + "/.unfinished");
  store(copies() + "/.unfinished/platform.log", to_be_removed(60));
  store(logs / "platform.log", to_be_removed(60));
  expect_output("platform.log: remove; copied to COPIES/000001/platform.log\n");
  EXPECT_EQ(names_in(copies()), (list{".lock", "000001"}));
}

TEST_F(Preserve, clears_up_after_an_interrupted_copy_though_there_is_nothing_to_do) {
  fs::create_directories(copies() + "/.unfinished/deeper");
  store(copies() + "/.unfinished/platform.log", to_be_removed(60));
  expect_output("");
  EXPECT_EQ(names_in(copies()), list{".lock"});
}

// No file may become longer than this while one of these lives, as if the disk were full.
class shortest_files {
 public:
  explicit shortest_files(rlim_t longest) : signals_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit now = {longest, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &now);
  }
  shortest_files(const shortest_files &) = delete;
  shortest_files &operator=(const shortest_files &) = delete;
  ~shortest_files() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, signals_);
  }

 private:
  void (*signals_)(int);
  rlimit before_{};
};

TEST_F(Preserve, leaves_nothing_of_a_copy_that_cannot_be_written) {
  store(logs / "temperature_err.log", to_be_rebuilt());
  store(logs / "platform.log", to_be_removed(400 * kib));
  {
    const shortest_files full(100 * kib);
    expect_problem("veskshow: COPIES: cannot keep a copy there: File too large\n");
  }
  EXPECT_EQ(names_in(copies()), list{".lock"});
  EXPECT_EQ(preserve().status, 0);
  EXPECT_EQ(names_in(copies()), (list{".lock", "000001"}));
}

TEST_F(Preserve, removes_nothing_old_where_the_new_has_no_room) {
  fs::create_directory(copies());
  if (mount("tmpfs", copies().c_str(), "tmpfs", 0, "size=1200k") != 0) {
    GTEST_SKIP() << "nothing can be mounted in this root";
  }
  store(logs / "platform.log", to_be_removed(700 * kib, 'a'));
  EXPECT_EQ(preserve().status, 0);
  store(logs / "platform.log", to_be_removed(700 * kib, 'b'));
  const ended result = preserve();
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(pattern("^veskshow: COPIES: no room on its file system: 749568 bytes are needed, "
                      "[0-9]{6} are free\n$")
                  .is_in(without_times(result.err)))
      << result.err;
  EXPECT_EQ(names_in(copies()), (list{".lock", "000001"}));
  umount(copies().c_str());
}

TEST_F(Preserve, waits_for_another_that_makes_copies) {
  store(logs / "platform.log", to_be_removed(60, 'a'));
  preserve();
  store(logs / "platform.log", to_be_removed(60, 'b'));
  const int lock = open((copies() + "/.lock").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  running_veskshow second({"-D", logs.path(), "--preserve", copies()});
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(names_in(copies()), (list{".lock", "000001"}));
  close(lock);
  EXPECT_EQ(second.wait().status, 0);
  EXPECT_EQ(names_in(copies()), (list{".lock", "000001", "000002"}));
}

// --- what does not belong there ---

TEST_F(Preserve, leaves_alone_what_is_not_its_own) {
  fs::create_directories(copies() + "/1-20200101T000000");
  fs::create_directories(copies() + "/mine");
  store(copies() + "/mine/platform.log", std::string(1200 * kib, 'm'));
  store(copies() + "/000001-20200101T000000Z", "a file");
  store(logs / "platform.log", to_be_removed(400 * kib));
  const ended result = preserve({"--preserve-limit", "1"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(fs::exists(copies() + "/1-20200101T000000"));
  EXPECT_TRUE(fs::exists(copies() + "/mine/platform.log"));
  EXPECT_EQ(content_of(copies() + "/000001-20200101T000000Z"), "a file");
}

TEST_F(Preserve, follows_no_link_out_of_its_directory) {
  const std::string elsewhere = place / "elsewhere";
  fs::create_directories(elsewhere);
  fs::create_directories(copies() + "/000002-20200101T000000Z");
  store(elsewhere + "/platform.log", to_be_removed(400 * kib));
  store(logs / "platform.log", to_be_removed(400 * kib));
  fs::create_symlink(elsewhere, copies() + "/000001-20200101T000000Z");
  fs::create_symlink(elsewhere, copies() + "/.unfinished");
  fs::create_symlink(elsewhere + "/platform.log",
                     copies() + "/000002-20200101T000000Z/platform.log");
  expect_output("platform.log: remove; copied to COPIES/000003/platform.log\n",
                {"--preserve-limit", "1"});
  EXPECT_EQ(names_in(elsewhere), list{"platform.log"});
  EXPECT_EQ(content_of(elsewhere + "/platform.log"), to_be_removed(400 * kib));
  EXPECT_FALSE(fs::is_symlink(copies() + "/.unfinished"));
}

TEST_F(Preserve, takes_no_link_for_its_lock) {
  fs::create_directories(copies());
  fs::create_symlink(place / "made", copies() + "/.lock");
  store(logs / "platform.log", to_be_removed(60));
  expect_problem("veskshow: COPIES: cannot keep copies there: Too many levels of symbolic links\n");
  EXPECT_FALSE(fs::exists(place / "made"));
}

// --- what cannot be done ---

TEST_F(Preserve, copies_the_others_when_one_cannot_be_read) {
  fs::create_directory(logs / "vesk.log");
  store(logs / "platform.log", to_be_removed(60));
  const ended result = preserve();
  EXPECT_EQ(without_times(result.out),
            "platform.log: remove; copied to COPIES/000001/platform.log\n");
  EXPECT_EQ(without_times(result.err), "veskshow: LOGS/vesk.log: Is a directory\n");
  EXPECT_EQ(result.status, 1);
}

TEST_F(Preserve, takes_no_file_for_its_directory) {
  store(copies(), "a file");
  store(logs / "platform.log", to_be_removed(60));
  expect_problem("veskshow: COPIES: cannot keep copies there: Not a directory\n");
  fs::remove(logs / "platform.log");
  expect_problem("veskshow: COPIES: cannot keep copies there: Not a directory\n");
  EXPECT_EQ(content_of(copies()), "a file");
}

TEST_F(Preserve, makes_its_directory_where_one_can_be_made) {
  store(logs / "platform.log", to_be_removed(60));
  EXPECT_EQ(veskshow({"-D", logs.path(), "--preserve", "deeper/down/"}, place.path()).status, 0);
  EXPECT_EQ(names_in(place / "deeper/down"), (list{".lock", "000001"}));
  const std::string in_a_file = logs / "platform.log";
  const ended nowhere =
      veskshow({"-D", place / "deeper", "--preserve", in_a_file + "/copies/deeper"});
  EXPECT_EQ(nowhere.err, "veskshow: " + in_a_file +
                             "/copies/deeper: cannot keep copies there: Not a directory\n");
  EXPECT_EQ(nowhere.status, 1);
}

TEST_F(Preserve, makes_no_copies_on_the_flash_of_the_logs) {
  store(logs / "platform.log", to_be_removed(60));
  fs::create_directory_symlink(logs.path(), place / "link");
  for (const std::string &inside : {logs.path(), logs / "copies", place / "link/copies"}) {
    const ended result = veskshow({"-D", logs.path(), "--preserve", inside});
    EXPECT_EQ(result.err, "veskshow: " + inside +
                              ": lies in the directory of the log files, which has no room for "
                              "copies\n");
    EXPECT_EQ(result.status, 1);
  }
  EXPECT_EQ(names_in(logs.path()), list{"platform.log"});
}

TEST_F(Preserve, wants_a_directory_of_log_files) {
  const ended result = veskshow({"-D", place / "missing", "--preserve", copies()});
  EXPECT_EQ(result.err, "veskshow: " + (place / "missing") + ": No such file or directory\n");
  EXPECT_EQ(result.status, 1);
}

TEST_F(Preserve, refuses_a_command_line_that_means_nothing) {
  const auto refused = [](const std::vector<std::string> &arguments) {
    const ended result = veskshow(arguments);
    EXPECT_EQ(result.status, 2);
    return result.err;
  };
  const std::string hint = "\nTry 'veskshow --help'.\n";
  EXPECT_EQ(refused({"--preserve-limit", "4"}),
            "veskshow: --preserve-limit requires --preserve" + hint);
  for (const char *limit : {"0", "-1", "x", "1048577", ""}) {
    EXPECT_EQ(refused({"--preserve", copies(), "--preserve-limit", limit}),
              "veskshow: --preserve-limit: '" + std::string(limit) +
                  "' is no number of MiB, 1 to 1048576" + hint);
  }
  EXPECT_EQ(refused({"--preserve", copies(), "--list"}),
            "veskshow: only one of --list, --header, --verify, --map, --salvage, --stats and "
            "--preserve at a time" +
                hint);
  EXPECT_EQ(
      refused({"--preserve", copies(), "kernel"}),
      "veskshow: --preserve looks at all log files of the directory, so it takes no names" + hint);
  EXPECT_EQ(refused({"--preserve", ""}), "veskshow: --preserve: is empty" + hint);
}

}  // namespace
}  // namespace vesk::test
