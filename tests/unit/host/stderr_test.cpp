#include "host/vesk_stderr.h"

#include <cerrno>

#include "tests/unit/host/host_test.h"

namespace vesk::test {
namespace {

TEST(StderrLines, end_in_exactly_one_newline_whatever_the_text_ends_in) {
  EXPECT_EQ(without_line_end("text"), "text");
  EXPECT_EQ(without_line_end("text\n"), "text");
  EXPECT_EQ(without_line_end("text\n "), "text");
  EXPECT_EQ(without_line_end("text\n\n"), "text");
  EXPECT_EQ(without_line_end("\n"), "");
  EXPECT_EQ(without_line_end(""), "");
}

TEST(StderrLines, keep_the_blanks_that_belong_to_the_text) {
  EXPECT_EQ(without_line_end("text \n"), "text ");
  EXPECT_EQ(without_line_end("text "), "text ");
  EXPECT_EQ(without_line_end("two\nlines\n"), "two\nlines");
}

TEST(StderrLines, carry_the_priority_for_the_journal) {
  const stderr_capture captured;
  complain(priority::error, "an error %d", 1);
  complain(priority::warning, "a warning\n");
  complain(priority::debug, "a trace\n ");
  EXPECT_EQ(captured.text(), "<3>an error 1\n<4>a warning\n<7>a trace\n");
}

TEST(StderrLines, are_cut_at_a_thousand_characters_and_end_all_the_same) {
  const stderr_capture captured;
  complain(priority::error, "%s", std::string(5000, 'x').c_str());
  EXPECT_EQ(captured.text(), "<3>" + std::string(1000, 'x') + "\n");
}

TEST(StderrLines, keep_errno) {
  const stderr_capture captured;
  errno = EDOM;
  complain(priority::error, "text");
  EXPECT_EQ(errno, EDOM);
}

}  // namespace
}  // namespace vesk::test
