// The forms in which people read entries. Data are as stored: with padding.
#include "tools/veskshow/format.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "tests/unit/tools/veskshow/sample_entry.h"

namespace vesk::test {

using namespace shared;
using namespace veskshow;
namespace {

using namespace std::string_literals;

const name_table names{.uuids = {{510, "watchdog"}}, .types = {{1024, "reset"}}};

std::string as_short(const sample &what, const look &how = {}) {
  return shown_as(output_format::short_full, what, how);
}

// --- short ---

TEST(Short, has_time_file_sender_type_and_text) {
  EXPECT_EQ(as_short({.data = "hello\0\0\0"s}),
            "2026-01-01 00:00:00.000001 kernel 510[1024]: hello\n");
}

TEST(Short, shows_other_data_as_their_first_bytes) {
  EXPECT_EQ(as_short({.data = "\x01\x02\x03\x04"}),
            "2026-01-01 00:00:00.000001 kernel 510[1024]: <4 bytes: 01020304>\n");
}

TEST(Short, ends_with_the_colon_where_there_are_no_data) {
  EXPECT_EQ(as_short({.data = ""}), "2026-01-01 00:00:00.000001 kernel 510[1024]:\n");
}

TEST(Short, is_one_line_whatever_the_text_is) {
  EXPECT_EQ(as_short({.data = "one\ntwo \"\\\" \x1b[1m\n\0\0"s}),
            "2026-01-01 00:00:00.000001 kernel 510[1024]: one\\ntwo \"\\\" \\e[1m\n");
}

TEST(Short, has_names_where_they_are_known) {
  EXPECT_EQ(as_short({}, {.names = names}),
            "2026-01-01 00:00:00.000001 kernel watchdog[reset]: text\n");
  EXPECT_EQ(as_short({.uuid = 511, .type = 1025}, {.names = names}),
            "2026-01-01 00:00:00.000001 kernel 511[1025]: text\n");
}

TEST(Short, is_unharmed_by_names) {
  const name_table odd{.uuids = {{510, "a\x1b\xFF"}}, .types = {{1024, "b\x07"}}};
  EXPECT_EQ(as_short({}, {.names = odd}),
            "2026-01-01 00:00:00.000001 kernel a\\e\\xff[b\\x07]: text\n");
}

TEST(Short, has_the_path_of_a_file_that_the_catalogue_does_not_know) {
  EXPECT_EQ(as_short({.file = "/tmp/copy.log", .file_type = 0}),
            "2026-01-01 00:00:00.000001 /tmp/copy.log 510[1024]: text\n");
  EXPECT_EQ(as_short({.file = "/tmp/\x1b\xFF", .file_type = 0}),
            "2026-01-01 00:00:00.000001 /tmp/\\e\\xff 510[1024]: text\n");
}

TEST(Short, says_how_sure_a_salvaged_entry_is) {
  EXPECT_EQ(as_short({.certainty = "likely"}),
            "2026-01-01 00:00:00.000001 kernel 510[1024]: (likely) text\n");
  EXPECT_EQ(as_short({.data = "", .certainty = "likely"}),
            "2026-01-01 00:00:00.000001 kernel 510[1024]: (likely)\n");
}

TEST(Short, does_not_pass_off_other_numbers_as_microseconds) {
  EXPECT_EQ(as_short({.usecs = 1000000}), "2026-01-01 00:00:00+1000000us kernel 510[1024]: text\n");
  EXPECT_EQ(as_short({.usecs = 0xFFFFFFFF}),
            "2026-01-01 00:00:00+4294967295us kernel 510[1024]: text\n");
}

TEST(Short, shows_times_from_the_first_to_the_last) {
  EXPECT_EQ(as_short({.secs = 0, .usecs = 0}),
            "1970-01-01 00:00:00.000000 kernel 510[1024]: text\n");
  EXPECT_EQ(as_short({.secs = 0xFFFFFFFF, .usecs = 999999}),
            "2106-02-07 06:28:15.999999 kernel 510[1024]: text\n");
}

// --- other clocks ---

// While it lives, local time is that of this zone.
class local_zone {
 public:
  explicit local_zone(const char *zone) {
    if (const char *old = std::getenv("TZ")) old_ = old;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~local_zone() {
    old_ ? setenv("TZ", old_->c_str(), 1) : unsetenv("TZ");
    tzset();
  }
  local_zone(const local_zone &) = delete;
  local_zone &operator=(const local_zone &) = delete;

 private:
  std::optional<std::string> old_;
};

TEST(ShortIso, has_the_zones_offset) {
  EXPECT_EQ(shown_as(output_format::short_iso, {}),
            "2026-01-01T00:00:00.000001+00:00 kernel 510[1024]: text\n");
}

TEST(ShortIso, has_the_local_zones_offset) {
  const local_zone east("EAST-2");
  EXPECT_EQ(shown_as(output_format::short_iso, {}, {.zone = time_zone::local}),
            "2026-01-01T02:00:00.000001+02:00 kernel 510[1024]: text\n");
  EXPECT_EQ(shown_as(output_format::short_full, {}, {.zone = time_zone::local}),
            "2026-01-01 02:00:00.000001 kernel 510[1024]: text\n");
}

TEST(ShortIso, has_offsets_west_of_utc_and_of_less_than_an_hour) {
  const local_zone west("WEST3:30");
  EXPECT_EQ(shown_as(output_format::short_iso, {}, {.zone = time_zone::local}),
            "2025-12-31T20:30:00.000001-03:30 kernel 510[1024]: text\n");
}

TEST(ShortIso, has_the_offset_of_that_day) {
  const local_zone summer("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(shown_as(output_format::short_iso, {}, {.zone = time_zone::local}),
            "2026-01-01T01:00:00.000001+01:00 kernel 510[1024]: text\n");
  EXPECT_EQ(shown_as(output_format::short_iso, {.secs = 1714564800}, {.zone = time_zone::local}),
            "2024-05-01T14:00:00.000001+02:00 kernel 510[1024]: text\n");
  // The last second of summer time and the first of winter time.
  EXPECT_EQ(shown_as(output_format::short_iso, {.secs = 1729990799}, {.zone = time_zone::local}),
            "2024-10-27T02:59:59.000001+02:00 kernel 510[1024]: text\n");
  EXPECT_EQ(shown_as(output_format::short_iso, {.secs = 1729990800}, {.zone = time_zone::local}),
            "2024-10-27T02:00:00.000001+01:00 kernel 510[1024]: text\n");
}

TEST(ShortIso, shows_other_numbers_than_microseconds_before_the_offset) {
  EXPECT_EQ(shown_as(output_format::short_iso, {.usecs = 1000001}),
            "2026-01-01T00:00:00+1000001us+00:00 kernel 510[1024]: text\n");
}

TEST(ShortUnix, has_the_seconds_since_1970) {
  EXPECT_EQ(shown_as(output_format::short_unix, {.certainty = "likely"}),
            "1767225600.000001 kernel 510[1024]: (likely) text\n");
  EXPECT_EQ(shown_as(output_format::short_unix, {.secs = 0xFFFFFFFF, .usecs = 1000001}),
            "4294967295+1000001us kernel 510[1024]: text\n");
}

// --- verbose ---

TEST(Verbose, has_all_fields_on_a_line_each) {
  EXPECT_EQ(shown_as(output_format::verbose, {.data = "hello\n\0\0"s,
                                              .offset = 4096,
                                              .flags = 7,
                                              .prev_size = 40,
                                              .set_back_usecs = 2000000,
                                              .certainty = "likely"}),
            "2026-01-01 00:00:00.000001 [o=4096;s=1767225600;m=1;u=510;t=1024;f=kernel.log]\n"
            "    SYSLOG_IDENTIFIER=510\n"
            "    VESK_FILE=kernel.log\n"
            "    VESK_FILE_TYPE=21\n"
            "    VESK_UUID=510\n"
            "    VESK_TYPE=1024\n"
            "    VESK_FLAGS=7\n"
            "    VESK_SIZE=8\n"
            "    VESK_OFFSET=4096\n"
            "    VESK_PREV_SIZE=40\n"
            "    VESK_SECS=1767225600\n"
            "    VESK_USECS=1\n"
            "    VESK_CLOCK_SET_BACK_USEC=2000000\n"
            "    VESK_CERTAINTY=likely\n"
            "    MESSAGE=hello\n");
}

TEST(Verbose, has_names_and_no_type_for_a_file_without_one) {
  EXPECT_EQ(shown_as(output_format::verbose,
                     {.data = "", .file = "/tmp/copy", .file_type = 0, .usecs = 1000001},
                     {.names = names}),
            "2026-01-01 00:00:00+1000001us "
            "[o=20;s=1767225600;m=1000001;u=510;t=1024;f=/tmp/copy]\n"
            "    SYSLOG_IDENTIFIER=watchdog\n"
            "    VESK_FILE=/tmp/copy\n"
            "    VESK_UUID=510\n"
            "    VESK_TYPE=1024\n"
            "    VESK_TYPE_NAME=reset\n"
            "    VESK_FLAGS=0\n"
            "    VESK_SIZE=0\n"
            "    VESK_OFFSET=20\n"
            "    VESK_PREV_SIZE=0\n"
            "    VESK_SECS=1767225600\n"
            "    VESK_USECS=1000001\n"
            "    MESSAGE=\n");
}

// The last line of the verbose form.
std::string verbose_data(const std::string &data) {
  const std::string shown = shown_as(output_format::verbose, {.data = data});
  return shown.substr(shown.rfind('\n', shown.size() - 2) + 1);
}

TEST(Verbose, has_all_of_the_text) {
  const std::string longer(4000, 'x');
  EXPECT_EQ(verbose_data(longer), "    MESSAGE=" + longer + "\n");
  EXPECT_EQ(verbose_data("one\ntwo\x1b\n\0\0\0"s), "    MESSAGE=one\\ntwo\\e\n");
}

TEST(Verbose, has_all_of_the_bytes) {
  EXPECT_EQ(verbose_data("\xFF and seventeen..\0\0\0"s),
            "    VESK_DATA=ff20616e 64207365 76656e74 65656e2e 2e000000\n");
}

// --- cat, raw, hex ---

TEST(Cat, is_the_text_alone) {
  EXPECT_EQ(shown_as(output_format::cat, {.data = "hello\0\0\0"s, .certainty = "likely"}),
            "hello\n");
  EXPECT_EQ(shown_as(output_format::cat, {.data = "hello\n\0\0"s}), "hello\n");
  EXPECT_EQ(shown_as(output_format::cat, {.data = ""}), "\n");
}

TEST(Cat, keeps_line_breaks_and_nothing_else_that_moves_the_cursor) {
  EXPECT_EQ(shown_as(output_format::cat, {.data = "\none\n\ntwo\tü \x1b[2J\r\n\n\0\0"s}),
            "\none\n\ntwo\tü \\e[2J\\r\n\n");
  EXPECT_EQ(shown_as(output_format::cat, {.data = "a\u2028b"}), "a\\u2028b\n");
}

TEST(Cat, shows_other_data_as_the_short_form_does) {
  EXPECT_EQ(shown_as(output_format::cat, {.data = "\x01\0\0\0"s}), "<4 bytes: 01000000>\n");
}

TEST(Raw, is_the_bytes_as_stored) {
  EXPECT_EQ(shown_as(output_format::raw, {.data = "hello\0\0\0"s, .certainty = "likely"}),
            "hello\0\0\0"s);
  EXPECT_EQ(shown_as(output_format::raw, {.data = "\xFF\x1b\n\0"s}), "\xFF\x1b\n\0"s);
  EXPECT_EQ(shown_as(output_format::raw, {.data = ""}), "");
}

TEST(Hex, has_the_head_of_the_short_form_and_all_bytes) {
  EXPECT_EQ(shown_as(output_format::hex, {.data = "gamma ray\0\0\0"s, .certainty = "likely"}),
            "2026-01-01 00:00:00.000001 kernel 510[1024]: (likely)\n"
            "00000000  67 61 6d 6d 61 20 72 61  79 00 00 00              |gamma ray...|\n");
  EXPECT_EQ(shown_as(output_format::hex, {.data = "0123456789abcdef\x7E\x7F\x80\xFF"}),
            "2026-01-01 00:00:00.000001 kernel 510[1024]:\n"
            "00000000  30 31 32 33 34 35 36 37  38 39 61 62 63 64 65 66  |0123456789abcdef|\n"
            "00000010  7e 7f 80 ff                                       |~...|\n");
  EXPECT_EQ(shown_as(output_format::hex, {.data = ""}),
            "2026-01-01 00:00:00.000001 kernel 510[1024]:\n");
}

TEST(Hex, counts_its_lines_in_hexadecimal) {
  const std::string shown = shown_as(output_format::hex, {.data = std::string(65532, 'z')});
  EXPECT_TRUE(shown.ends_with(
      "\n"
      "0000ffe0  7a 7a 7a 7a 7a 7a 7a 7a  7a 7a 7a 7a 7a 7a 7a 7a  |zzzzzzzzzzzzzzzz|\n"
      "0000fff0  7a 7a 7a 7a 7a 7a 7a 7a  7a 7a 7a 7a              |zzzzzzzzzzzz|\n"));
}

// --- colours, and the clock ---

TEST(Color, marks_time_sender_and_certainty) {
  EXPECT_EQ(as_short({.certainty = "likely"}, {.color = true}),
            "\x1b[2m2026-01-01 00:00:00.000001\x1b[0m kernel \x1b[1m510\x1b[0m[1024]: "
            "\x1b[33m(likely)\x1b[0m text\n");
  EXPECT_TRUE(shown_as(output_format::verbose, {}, {.color = true})
                  .starts_with("\x1b[2m2026-01-01 00:00:00.000001\x1b[0m [o=20;"));
}

TEST(Color, is_only_for_people) {
  for (const auto format :
       {output_format::json, output_format::json_pretty, output_format::journal_export,
        output_format::cat, output_format::raw}) {
    EXPECT_EQ(shown_as(format, {.certainty = "likely"}, {.color = true}),
              shown_as(format, {.certainty = "likely"}, {.color = false}));
  }
}

std::string clock_jump_as(output_format format, bool color = false) {
  std::string out = "before\n";
  append_clock_jump(out, 3'720'000'000, {format, time_zone::utc, &names, color});
  return out;
}

TEST(ClockJump, is_a_line_for_people) {
  for (const auto format :
       {output_format::short_full, output_format::short_iso, output_format::short_unix,
        output_format::verbose, output_format::hex}) {
    EXPECT_EQ(clock_jump_as(format), "before\n-- the clock was set back by 1 h 2 min --\n");
  }
  EXPECT_EQ(clock_jump_as(output_format::short_full, true),
            "before\n\x1b[33m-- the clock was set back by 1 h 2 min --\x1b[0m\n");
}

TEST(ClockJump, is_no_line_of_its_own_for_programs) {
  for (const auto format :
       {output_format::json, output_format::json_pretty, output_format::journal_export,
        output_format::cat, output_format::raw}) {
    EXPECT_EQ(clock_jump_as(format), "before\n");
  }
}

TEST(ClockJump, is_shown_in_the_entry_from_one_second_on) {
  const auto verbose = [](uint64_t usecs) {
    return shown_as(output_format::verbose, {.set_back_usecs = usecs});
  };
  EXPECT_EQ(verbose(999'999).find("SET_BACK"), std::string::npos);
  EXPECT_NE(verbose(1'000'000).find("    VESK_CLOCK_SET_BACK_USEC=1000000\n"), std::string::npos);
}

}  // namespace
}  // namespace vesk::test
