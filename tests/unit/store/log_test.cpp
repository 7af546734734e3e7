#include "store/vesk_log.h"

#include <cerrno>
#include <string>

#include "tests/unit/store/store_test.h"

namespace vesk::test {
namespace {

using Log = StoreTest;

TEST_F(Log, line_goes_to_the_history_and_to_the_print) {
  VESK_TRACE("TRACE:start %d of %s\n", 20, "ring");
  VESK_ERROR("ERROR: seek %d", -1);
  const log_lines both = {trace("TRACE:start 20 of ring\n"), error("ERROR: seek -1")};
  EXPECT_EQ(platform.history, both);
  EXPECT_EQ(platform.prints, both);
}

TEST_F(Log, level_is_not_read_out_of_the_text) {
  VESK_ERROR("progress of a recovery");
  EXPECT_EQ(platform.history, (log_lines{{101, "progress of a recovery"}}));
}

TEST_F(Log, suppressed_level_is_still_printed) {
  platform.suppressed = {101};
  VESK_ERROR("ERROR: one");
  VESK_TRACE("TRACE:two");
  EXPECT_EQ(platform.history, (log_lines{trace("TRACE:two")}));
  EXPECT_EQ(platform.prints, (log_lines{error("ERROR: one"), trace("TRACE:two")}));
}

TEST_F(Log, level_that_is_not_printed_is_still_recorded) {
  platform.printed = {101};
  VESK_ERROR("ERROR: one");
  VESK_TRACE("TRACE:two");
  EXPECT_EQ(platform.history, (log_lines{error("ERROR: one"), trace("TRACE:two")}));
  EXPECT_EQ(platform.prints, (log_lines{error("ERROR: one")}));
}

TEST_F(Log, nothing_is_formatted_when_nobody_wants_it) {
  platform.suppressed = {100, 101};
  platform.printed = {};
  int evaluated = 0;
  const auto argument = [&] { return ++evaluated; };
  VESK_TRACE("TRACE:%d", argument());
  VESK_ERROR("ERROR: %d", argument());
  EXPECT_EQ(evaluated, 0);
  EXPECT_EQ(platform.history, log_lines{});
  EXPECT_EQ(platform.prints, log_lines{});
}

// The recording platform checks with every line that the length passed is that of the text and 5.
TEST_F(Log, history_cuts_a_line_at_511_characters) {
  const std::string fits(511, 'x');
  VESK_ERROR("%s", fits.c_str());
  VESK_ERROR("%sy", fits.c_str());
  VESK_ERROR("%syz%s", fits.c_str(), fits.c_str());
  EXPECT_EQ(platform.history, (log_lines{error(fits), error(fits), error(fits)}));
}

TEST_F(Log, print_gets_the_whole_line) {
  const std::string text(600, 'x');
  VESK_ERROR("%s", text.c_str());
  EXPECT_EQ(platform.prints, (log_lines{error(text)}));
}

TEST_F(Log, empty_line_is_a_line) {
  VESK_ERROR("%s", "");
  EXPECT_EQ(platform.history, (log_lines{error("")}));
}

TEST_F(Log, errno_survives_the_platforms_calls) {
  platform.clobber_errno = EDOM;
  errno = ENOSPC;
  VESK_ERROR("ERROR: lost");
  EXPECT_EQ(errno, ENOSPC);
  errno = EIO;
  VESK_TRACE("TRACE:lost");
  EXPECT_EQ(errno, EIO);
}

TEST_F(Log, errno_survives_a_line_that_nobody_wants) {
  platform.clobber_errno = EDOM;
  platform.suppressed = {101};
  platform.printed = {};
  errno = ENOSPC;
  VESK_ERROR("ERROR: unseen");
  EXPECT_EQ(errno, ENOSPC);
}

TEST_F(Log, errno_is_right_as_an_argument_in_both_ways) {
  platform.clobber_errno = EDOM;
  errno = ENOSPC;
  VESK_ERROR("ERROR: errno %d", errno);
  EXPECT_EQ(platform.history, (log_lines{error("ERROR: errno 28")}));
  EXPECT_EQ(platform.prints, (log_lines{error("ERROR: errno 28")}));
}

TEST_F(Log, errno_is_right_in_the_print_alone) {
  platform.clobber_errno = EDOM;
  platform.suppressed = {101};
  errno = ENOSPC;
  VESK_ERROR("ERROR: errno %d", errno);
  EXPECT_EQ(platform.prints, (log_lines{error("ERROR: errno 28")}));
}

}  // namespace
}  // namespace vesk::test
