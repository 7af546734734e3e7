// the line that shows how far a long run of veskctl send has come.
#include "tools/shared/progress.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "tests/support/fake_service.h"
#include "tests/support/pattern.h"
#include "tests/unit/tools/veskctl/run_veskctl.h"

namespace vesk::test {

using namespace shared;
namespace {

using shared::progress_text;

TEST(ProgressText, has_a_bar_where_the_size_is_known) {
  EXPECT_EQ(progress_text({0, 0, 0}, 0.0, 0.5, 79), "[--------------------]   0%  0 records, 0/s");
  EXPECT_EQ(progress_text({300, 0, 0}, 0.25, 2, 79),
            "[#####---------------]  25%  300 records, 150/s, 0:00:06 left");
  EXPECT_EQ(
      progress_text({1000, 2, 1}, 0.999, 10, 119),
      "[###################-]  99%  1000 records, 100/s, 0:00:00 left, 2 refused, 1 unanswered");
  EXPECT_EQ(progress_text({8, 0, 0}, 1.0, 4, 79),
            "[####################] 100%  8 records, 2/s, 0:00:00 left");
  EXPECT_EQ(progress_text({1, 0, 0}, 0.001, 10, 79),
            "[--------------------]   0%  1 records, 0/s, 2:46:30 left");
}

TEST(ProgressText, has_counters_where_the_size_is_not_known) {
  EXPECT_EQ(progress_text({300, 0, 0}, {}, 2, 79), "300 records, 150/s");
  EXPECT_EQ(progress_text({300, 7, 8}, {}, 0, 79), "300 records, 7 refused, 8 unanswered");
}

TEST(ProgressText, is_cut_to_the_terminal) {
  EXPECT_EQ(progress_text({300, 0, 0}, {}, 2, 10), "300 record");
}

// What a terminal gets to see.
class terminal {
 public:
  terminal() {
    if (openpty(&outer_, &inner_, nullptr, nullptr, nullptr) == 0) {
      fcntl(outer_, F_SETFD, FD_CLOEXEC);
      fcntl(inner_, F_SETFD, FD_CLOEXEC);
      reader_ = std::thread([this] { read_all(); });
    }
  }
  terminal(const terminal &) = delete;
  terminal &operator=(const terminal &) = delete;
  ~terminal() { text(); }

  bool exists() const { return outer_ >= 0; }

  // For the shell to redirect to.
  std::string redirection() const {
    return " >/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(inner_) + " 2>&1";
  }

  // All of it; nobody can write any more.
  std::string text() {
    if (inner_ >= 0) close(inner_);
    inner_ = -1;
    if (reader_.joinable()) reader_.join();
    if (outer_ >= 0) close(outer_);
    outer_ = -1;
    return text_;
  }

 private:
  void read_all() {
    char buffer[4096];
    for (ssize_t got = 0; (got = read(outer_, buffer, sizeof buffer)) > 0;) {
      text_.append(buffer, static_cast<size_t>(got));
    }
  }

  int outer_ = -1;
  int inner_ = -1;
  std::string text_;
  std::thread reader_;
};

// Takes its time, and says no to lines that begin with an r.
void answer_slowly(const fake_service &service, const request &to) {
  std::this_thread::sleep_for(std::chrono::milliseconds(4));
  service.answer(to, word(to.payload[24] == 'r' ? 0 : 1));
}

std::string lines(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += i == count / 2 ? "refused\n" : "accepted\n";
  return text;
}

class Progress : public ::testing::Test {
 protected:
  Progress() : service_(dir_, answer_slowly) {}

  void SetUp() override {
    if (!terminal_.exists()) GTEST_SKIP() << "this private root has no pseudo-terminals";
  }

  // What the terminal shows of `before` and veskctl, which reads 300 lines.
  std::string shown(const std::string &before, int status) {
    const std::string command =
        before + "veskctl send --file 5 --uuid 25" + terminal_.redirection();
    EXPECT_EQ(run_shell(command, in(dir_, lines(300))).status, status);
    return terminal_.text();
  }

  run_dir dir_;
  terminal terminal_;
  fake_service service_;
};

TEST_F(Progress, draws_a_bar_that_is_gone_before_each_line) {
  const std::string text = shown("", 1);
  EXPECT_TRUE(pattern("\r\033\\[K\\[#+-+\\] +[1-9][0-9]?%  [0-9]+ records, [0-9]+/s, "
                      "0:00:[0-9][0-9] left")
                  .is_in(text))
      << text;
  EXPECT_TRUE(pattern("(^|\r\033\\[K)veskctl: line 151 was refused: the daemon refused it; its log "
                      "says why\r\n")
                  .is_in(text))
      << text;
  EXPECT_TRUE(pattern("\r\033\\[K299 accepted, 1 refused, 0 unanswered\r\n$").is_in(text)) << text;
}

// A line has nine bytes, the refused one, which is the 151st, eight: 2699 in all.
TEST_F(Progress, draws_the_part_of_the_input_that_is_behind_it) {
  const std::string text = shown("", 1);
  int percent = -1;
  int records = -1;
  const size_t bar = text.find("] ");
  ASSERT_NE(bar, std::string::npos) << text;
  ASSERT_EQ(std::sscanf(text.c_str() + bar, "] %d%% %d records", &percent, &records), 2) << text;
  const int bytes = records <= 150 ? 9 * records : 9 * records - 1;
  EXPECT_EQ(percent, 100 * bytes / 2699) << text;
}

TEST_F(Progress, counts_where_the_size_is_not_known) {
  const std::string text = shown("cat | ", 1);
  EXPECT_TRUE(pattern("\r\033\\[K[0-9]+ records, [0-9]+/s\r\033").is_in(text)) << text;
  EXPECT_EQ(text.find('%'), std::string::npos) << text;
}

TEST_F(Progress, draws_nothing_for_a_short_run) {
  const std::string command = "veskctl send --file 5 --uuid 25" + terminal_.redirection();
  EXPECT_EQ(run_shell(command, in(dir_, "one\ntwo\n")).status, 0);
  EXPECT_EQ(terminal_.text(), "2 accepted, 0 refused, 0 unanswered\r\n");
}

TEST_F(Progress, draws_nothing_where_standard_error_is_no_terminal) {
  const ended end = send_lines(dir_, lines(300));
  EXPECT_EQ(end.err, "veskctl: line 151 was refused: the daemon refused it; its log says why\n");
}

}  // namespace
}  // namespace vesk::test
