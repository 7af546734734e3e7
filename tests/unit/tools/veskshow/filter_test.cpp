// Which entries pass the filter that the options make, and which options make none.
#include "tools/veskshow/filter.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/support/file_bytes.h"
#include "tools/veskshow/output.h"
#include "tools/veskshow/pattern.h"

namespace vesk::test {

using namespace shared;
using namespace veskshow;
namespace {

using namespace std::string_literals;

constexpr uint64_t now = 1714568400'000000;  // 13:00 UTC

ring_entry entry_at_noon(uint32_t usecs = 0) {
  ring_entry entry{};
  entry.uuid = 677;
  entry.type = 1024;
  entry.secs = noon;
  entry.usecs = usecs;
  return entry;
}

class Filter : public ::testing::Test {
 protected:
  Filter() { wanted.zone = time_zone::utc; }

  std::string make() {
    filter = {};
    return make_filter(wanted, names, now, filter).reason;
  }

  bool shows(const ring_entry &entry) {
    EXPECT_EQ(make(), "");
    return passes(filter, entry);
  }

  // Whether an entry with these data passes the pattern.
  bool matches(const std::string &pattern, const std::string &data) {
    wanted.pattern = pattern;
    wanted.pattern_given = true;
    ring_entry entry = entry_at_noon();
    entry.data = {reinterpret_cast<const uint8_t *>(data.data()), data.size()};
    return shows(entry);
  }

  options wanted;
  name_table names{{{677, "nruda"}, {80, "monitor"}}, {{1024, "fan"}}};
  entry_filter filter;
};

TEST_F(Filter, of_no_options_shows_everything) {
  EXPECT_TRUE(shows(entry_at_noon()));
}

TEST_F(Filter, bounds_are_included) {
  wanted.since = "2024-05-01 12:00:00.000005";
  EXPECT_FALSE(shows(entry_at_noon(4)));
  EXPECT_TRUE(shows(entry_at_noon(5)));
  wanted.until = "2024-05-01 12:00:00.000006";
  EXPECT_TRUE(shows(entry_at_noon(6)));
  EXPECT_FALSE(shows(entry_at_noon(7)));
}

TEST_F(Filter, counts_time_from_now) {
  wanted.since = "-1h";
  EXPECT_TRUE(shows(entry_at_noon()));
  wanted.since = "-59min";
  EXPECT_FALSE(shows(entry_at_noon()));
  wanted.since = wanted.until = "now";
  EXPECT_FALSE(shows(entry_at_noon()));
}

TEST_F(Filter, microseconds_that_are_no_fraction_count_for_nothing) {
  wanted.until = "2024-05-01 12:00:00";
  EXPECT_TRUE(shows(entry_at_noon(1000000)));
}

TEST_F(Filter, takes_any_of_the_senders_and_types) {
  wanted.uuids = {"80"};
  EXPECT_FALSE(shows(entry_at_noon()));
  wanted.uuids = {"80", "677"};
  EXPECT_TRUE(shows(entry_at_noon()));
  wanted.types = {"1025"};
  EXPECT_FALSE(shows(entry_at_noon()));
  wanted.types = {"1025", "1024"};
  EXPECT_TRUE(shows(entry_at_noon()));
}

TEST_F(Filter, takes_names) {
  wanted.uuids = {"nruda"};
  wanted.types = {"fan"};
  EXPECT_TRUE(shows(entry_at_noon()));
  wanted.uuids = {"monitor"};
  EXPECT_FALSE(shows(entry_at_noon()));
}

TEST_F(Filter, says_which_option_is_wrong) {
  wanted.since = "31 May";
  EXPECT_EQ(make(),
            "--since: cannot understand the time '31 May'; write it like \"2026-01-31 12:00:00\", "
            "\"yesterday\" or \"1h 30min ago\"");
  wanted.since = "12:00";
  wanted.until = "2024-02-31";
  EXPECT_TRUE(make().starts_with("--until: cannot understand the time '2024-02-31'; "));
  wanted.until = "11:59";
  EXPECT_EQ(make(), "--since: '12:00' is later than --until '11:59'");
  wanted.until = "12:00";
  EXPECT_EQ(make(), "");
  wanted.uuids = {"1", "65536"};
  EXPECT_EQ(make(), "--uuid: 65536 is not a number from 0 to 65535");
  wanted.uuids = {"fan"};
  EXPECT_EQ(make(), "--uuid: 'fan' is neither a number nor a name that --names gives");
  wanted.uuids = {};
  wanted.types = {""};
  EXPECT_EQ(make(), "--type: '' is neither a number nor a name that --names gives");
  names = {};
  wanted.types = {"fan"};
  EXPECT_EQ(make(), "--type: 'fan' is no number, and --names gives no names for them");
}

// --- patterns ---

TEST_F(Filter, pattern_matches_anywhere_in_the_text) {
  EXPECT_TRUE(matches("fan", "the fan stopped"));
  EXPECT_FALSE(matches("^fan", "the fan stopped"));
  EXPECT_TRUE(matches("fan|power", "no power"));
  EXPECT_TRUE(matches("", "anything"));
  EXPECT_TRUE(matches("", ""));
  EXPECT_FALSE(matches("fan", ""));
}

TEST_F(Filter, pattern_does_not_see_padding_or_the_newline_at_the_end) {
  EXPECT_TRUE(matches("stopped$", "the fan stopped\n\0\0"s));
  EXPECT_FALSE(matches("\\x00", "the fan stopped\0"s));
}

TEST_F(Filter, pattern_heeds_case_only_where_it_has_a_capital_letter) {
  EXPECT_TRUE(matches("fan", "FAN"));
  EXPECT_FALSE(matches("Fan", "FAN"));
  EXPECT_TRUE(matches("Fan", "Fan"));
  EXPECT_TRUE(matches("\\Sfan\\W", "-FAN-"));
  EXPECT_FALSE(matches("\\\\Fan", "\\fan"));
  EXPECT_TRUE(matches("äpfel", "ÄPFEL"));
  EXPECT_FALSE(matches("Äpfel", "äpfel"));
}

TEST_F(Filter, pattern_takes_a_character_for_one) {
  EXPECT_TRUE(matches("^a.b$", "a\u20acb"));
  EXPECT_FALSE(matches("^a...b$", "a\u20acb"));
}

TEST_F(Filter, pattern_never_matches_data_that_are_no_text) {
  EXPECT_FALSE(matches("fan", "fan\xff"));
  EXPECT_FALSE(matches("fan", "fan\0fan"s));
  EXPECT_FALSE(matches("", "\x01\x02\x03\x04"));
}

TEST_F(Filter, pattern_that_is_none_is_refused) {
  wanted.pattern_given = true;
  wanted.pattern = "(fan";
  EXPECT_EQ(make(), "--grep: '(fan': missing closing parenthesis at offset 4");
  wanted.pattern = "*";
  EXPECT_EQ(make(), "--grep: '*': quantifier does not follow a repeatable item at offset 0");
  wanted.pattern = "fan\xff";
  EXPECT_TRUE(make().find("UTF-8 error") != std::string::npos) << make();
  wanted.pattern = "\\C";
  EXPECT_NE(make(), "");
}

TEST_F(Filter, pattern_that_takes_for_ever_is_given_up) {
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < 100; ++i) {
    EXPECT_FALSE(matches("(a+)+$", std::string(60, 'a') + "b"));
    EXPECT_TRUE(filter.pattern->gave_up());
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
  output out;
  ::testing::internal::CaptureStderr();
  report_given_up(filter, out);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "veskshow: --grep: The pattern takes too many steps; entries may be missing\n");
  EXPECT_EQ(out.status, exit_problem);
}

// Each letter more doubles the steps; PCRE2 itself would allow ten times as many.
TEST_F(Filter, pattern_is_given_up_behind_a_million_steps) {
  EXPECT_FALSE(matches("(a+)+$", std::string(18, 'a') + "b"));
  EXPECT_FALSE(filter.pattern->gave_up());
  EXPECT_FALSE(matches("(a+)+$", std::string(22, 'a') + "b"));
  EXPECT_TRUE(filter.pattern->gave_up());
}

TEST_F(Filter, pattern_that_was_given_up_too_often_is_not_tried_again) {
  std::optional<text_pattern> pattern;
  ASSERT_FALSE(text_pattern::compile("(a+)+$", pattern));
  EXPECT_TRUE(pattern->matches("aaa"));
  EXPECT_FALSE(pattern->gave_up());
  const std::string endless = std::string(60, 'a') + "b";
  for (int i = 0; i < 15; ++i) EXPECT_FALSE(pattern->matches(endless));
  EXPECT_TRUE(pattern->matches("aaa"));
  EXPECT_FALSE(pattern->matches(endless));
  EXPECT_FALSE(pattern->matches("aaa"));
}

TEST_F(Filter, ordinary_patterns_are_not_given_up_on_long_texts) {
  EXPECT_TRUE(matches("begin.*end", "begin " + std::string(65000, 'e') + " end"));
  EXPECT_FALSE(matches("begin.*middle.*End", "begin " + std::string(65000, 'm')));
  EXPECT_FALSE(filter.pattern->gave_up());
}

TEST_F(Filter, all_must_be_true_of_an_entry) {
  wanted.uuids = {"677"};
  wanted.since = "12:00";
  EXPECT_TRUE(matches("fan", "fan "));
  wanted.types = {"1"};
  EXPECT_FALSE(matches("fan", "fan "));
}

}  // namespace
}  // namespace vesk::test
