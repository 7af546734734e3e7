// How wide a map may be.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <cstdlib>

#include "tools/veskshow/output.h"

namespace vesk::test {

using namespace veskshow;
namespace {

// Standard input and output come from nothing and go to nothing, unless a test puts a terminal in
// their place.
class TerminalColumns : public ::testing::Test {
 protected:
  TerminalColumns() {
    unsetenv("COLUMNS");
    replace(STDIN_FILENO, open("/dev/null", O_RDWR | O_CLOEXEC));
    replace(STDOUT_FILENO, open("/dev/null", O_RDWR | O_CLOEXEC));
  }

  ~TerminalColumns() override {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO}) {
      dup2(saved_[fd], fd);
      close(saved_[fd]);
    }
    if (outer_ >= 0) close(outer_);
    unsetenv("COLUMNS");
  }

  // Whether there are terminals to be had here.
  bool put_terminal(int fd, unsigned short columns) {
    winsize size{.ws_row = 24, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
    int inner = -1;
    if (openpty(&outer_, &inner, nullptr, nullptr, &size) != 0) return false;
    dup2(inner, fd);
    close(inner);
    return true;
  }

 private:
  void replace(int fd, int replacement) {
    saved_[fd] = fcntl(fd, F_DUPFD_CLOEXEC, 3);
    dup2(replacement, fd);
    close(replacement);
  }

  int saved_[2];
  int outer_ = -1;
};

TEST_F(TerminalColumns, are_eighty_without_a_terminal) {
  EXPECT_EQ(terminal_columns(), 80u);
}

TEST_F(TerminalColumns, are_those_of_the_environment_without_a_terminal) {
  setenv("COLUMNS", "132", 1);
  EXPECT_EQ(terminal_columns(), 132u);
}

TEST_F(TerminalColumns, are_those_of_standard_output_before_all) {
  setenv("COLUMNS", "132", 1);
  if (!put_terminal(STDOUT_FILENO, 100)) {
    GTEST_SKIP() << "this private root has no pseudo-terminals";
  }
  EXPECT_EQ(terminal_columns(), 100u);
}

TEST_F(TerminalColumns, are_those_of_standard_input_where_output_goes_through_a_pager) {
  if (!put_terminal(STDIN_FILENO, 100)) GTEST_SKIP() << "this private root has no pseudo-terminals";
  EXPECT_EQ(terminal_columns(), 100u);
  setenv("COLUMNS", "132", 1);
  EXPECT_EQ(terminal_columns(), 132u);
}

TEST_F(TerminalColumns, of_a_terminal_that_does_not_know_its_width_are_those_of_the_environment) {
  if (!put_terminal(STDOUT_FILENO, 0)) GTEST_SKIP() << "this private root has no pseudo-terminals";
  EXPECT_EQ(terminal_columns(), 80u);
  setenv("COLUMNS", "132", 1);
  EXPECT_EQ(terminal_columns(), 132u);
}

}  // namespace
}  // namespace vesk::test
