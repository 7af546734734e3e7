#include "platform/program.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>

#include "tests/support/poll.h"
#include "tests/unit/host/host_test.h"

namespace vesk::test {
namespace {

// As in the daemon, SIGCHLD is ignored, unless a test says otherwise.
class Program : public ::testing::Test {
 protected:
  Program() : former_(signal(SIGCHLD, SIG_IGN)) {}
  ~Program() override { signal(SIGCHLD, former_); }

  scratch_directory dir_;
  std::string file_ = dir_ / "file";

 private:
  void (*former_)(int);
};

TEST_F(Program, has_run_when_the_wait_is_over) {
  EXPECT_EQ(execute_program_and_wait("/bin/touch", file_.c_str(), nullptr), 0);
  EXPECT_TRUE(exists(file_));
  EXPECT_EQ(execute_program_and_wait("/bin/rm", file_.c_str(), nullptr), 0);
  EXPECT_FALSE(exists(file_));
}

TEST_F(Program, gets_its_path_as_argument_0) {
  EXPECT_EQ(execute_program_and_wait("/bin/sh", "-c", "echo \"$0 $1 $2\" > \"$3\"", "zero", "one",
                                     "two words", file_.c_str(), nullptr),
            0);
  EXPECT_EQ(contents_of(file_), "zero one two words\n");
}

TEST_F(Program, that_does_not_exist_is_a_failure) {
  errno = 0;
  EXPECT_NE(execute_program_and_wait("/no/such/program", nullptr), 0);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_NE(execute_program_and_let_go("/no/such/program", nullptr), 0);
}

TEST_F(Program, that_fails_is_a_failure_where_its_status_can_be_learnt) {
  signal(SIGCHLD, SIG_DFL);
  EXPECT_NE(execute_program_and_wait("/bin/false", nullptr), 0);
  EXPECT_EQ(execute_program_and_wait("/bin/true", nullptr), 0);
}

TEST_F(Program, that_is_let_go_is_not_waited_for) {
  const std::string go = dir_ / "go";
  ASSERT_EQ(mkfifo(go.c_str(), 0600), 0);
  // It cannot end before somebody writes to the pipe.
  ASSERT_EQ(execute_program_and_let_go("/bin/sh", "-c", "read line < \"$1\" && : > \"$2\"", "sh",
                                       go.c_str(), file_.c_str(), nullptr),
            0);
  EXPECT_FALSE(exists(file_));
  std::ofstream(go) << "go\n";
  EXPECT_TRUE(eventually([&] { return exists(file_); }));
}

TEST_F(Program, inherits_no_input_and_no_descriptor) {
  const int leaking = fcntl(STDERR_FILENO, F_DUPFD, 100);
  ASSERT_GE(leaking, 100);
  EXPECT_EQ(
      execute_program_and_wait("/bin/bash", "-c",
                               "cat > $1; if (: >&$2) 2>/dev/null; then echo leaked; "
                               "else echo closed; fi >> $1",
                               "bash", file_.c_str(), std::to_string(leaking).c_str(), nullptr),
      0);
  close(leaking);
  EXPECT_EQ(contents_of(file_), "closed\n");
}

// Without a shell in between: some shells set SIGCHLD up for themselves.
TEST_F(Program, starts_with_no_signal_ignored) {
  const stderr_capture listed;
  EXPECT_EQ(execute_program_and_wait("/usr/bin/env", "--list-signal-handling", "touch",
                                     file_.c_str(), nullptr),
            0);
  EXPECT_TRUE(exists(file_)) << listed.text();
  EXPECT_EQ(listed.text(), "");
}

TEST_F(Program, takes_a_few_arguments_and_refuses_more) {
  EXPECT_EQ(execute_program_and_wait("/bin/true", "1", "2", "3", "4", "5", "6", "7", "8", "9", "10",
                                     "11", "12", "13", "14", "15", nullptr),
            0);
  EXPECT_EQ(execute_program_and_wait("/bin/true", "1", "2", "3", "4", "5", "6", "7", "8", "9", "10",
                                     "11", "12", "13", "14", "15", "16", nullptr),
            -1);
  EXPECT_EQ(errno, E2BIG);
}

TEST_F(Program, runs_a_command_with_its_output_in_files) {
  const std::string err = dir_ / "err";
  std::ofstream(dir_ / "a1").put('x');
  std::ofstream(dir_ / "a2").put('x');
  const std::string command = "cd " + dir_.path() + " && echo a*; echo wrong >&2";
  EXPECT_EQ(exec_cmd_with_files_print(command.c_str(), 0, file_.c_str(), err.c_str(), 0), 0);
  EXPECT_EQ(contents_of(file_), "a1 a2\n");
  EXPECT_EQ(contents_of(err), "wrong\n");
}

TEST_F(Program, runs_no_command_whose_output_has_nowhere_to_go) {
  EXPECT_NE(
      exec_cmd_with_files_print(("touch " + file_).c_str(), 0, "/no/such/file", "/dev/null", 0), 0);
  EXPECT_FALSE(exists(file_));
}

}  // namespace
}  // namespace vesk::test
