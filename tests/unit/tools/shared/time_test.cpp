// Points in time and lengths of time, as they are typed and as they are shown.
#include "tools/shared/time.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

namespace vesk::test {

using namespace shared;
namespace {

// 2024-05-01 12:34:56.789 UTC; in the local zone, two hours east of it, it is 14:34:56.
constexpr uint64_t now = 1714566896'789000;

class Time : public ::testing::Test {
 protected:
  Time() { set_zone("EAST-2"); }
  ~Time() override { set_zone("UTC0"); }

  static void set_zone(const char *zone) {
    setenv("TZ", zone, 1);
    tzset();
  }

  static std::string date_time(uint32_t secs, time_zone zone) {
    std::string text;
    append_date_time(text, secs, zone);
    return text;
  }

  static std::string zone_offset(uint32_t secs) {
    std::string text;
    append_zone_offset(text, secs, time_zone::local);
    return text;
  }

  static std::string usecs(uint32_t count) {
    std::string text;
    append_usecs(text, count);
    return text;
  }

  static std::optional<uint64_t> local(const char *typed) {
    return parse_time(typed, now, time_zone::local);
  }
  static std::optional<uint64_t> utc(const char *typed) {
    return parse_time(typed, now, time_zone::utc);
  }
};

TEST_F(Time, is_a_date_and_a_time_of_day) {
  EXPECT_EQ(utc("2026-01-31 12:00:00"), 1769860800'000000);
  EXPECT_EQ(utc("2026-01-31T12:00:00"), 1769860800'000000);
  EXPECT_EQ(utc("2026-01-31   12:00"), 1769860800'000000);
  EXPECT_EQ(utc("2026-01-31"), 1769817600'000000);
  EXPECT_EQ(utc(" 2026-01-31 "), 1769817600'000000);
  EXPECT_EQ(utc("1970-01-01"), 0);
  EXPECT_EQ(utc("9999-12-31 23:59:59"), 253402300799'000000);
}

TEST_F(Time, may_have_a_fraction) {
  EXPECT_EQ(utc("2026-01-31 12:00:00.5"), 1769860800'500000);
  EXPECT_EQ(utc("2026-01-31 12:00:00.000001"), 1769860800'000001);
  EXPECT_EQ(utc("2026-01-31 12:00:00.123456999"), 1769860800'123456);
}

TEST_F(Time, is_local_unless_it_says_otherwise) {
  EXPECT_EQ(local("2026-01-31 12:00:00"), 1769853600'000000);
  EXPECT_EQ(local("2026-01-31 12:00:00 UTC"), 1769860800'000000);
  EXPECT_EQ(local("2026-01-31T12:00:00Z"), 1769860800'000000);
  EXPECT_EQ(local("2026-01-31 12:00:00+01:30"), 1769855400'000000);
  EXPECT_EQ(local("2026-01-31 12:00:00 -0130"), 1769866200'000000);
  EXPECT_EQ(utc("2026-01-31 12:00 +02:00"), 1769853600'000000);
  EXPECT_EQ(local("2026-01-31 UTC"), 1769817600'000000);
}

TEST_F(Time, without_a_date_is_today) {
  EXPECT_EQ(utc("12:00"), 1714564800'000000);
  EXPECT_EQ(utc("12:00:01.25"), 1714564801'250000);
  EXPECT_EQ(local("12:00"), 1714557600'000000);
  EXPECT_EQ(local("12:00 UTC"), 1714564800'000000);
  EXPECT_EQ(parse_time("01:00", 1714514400'000000, time_zone::local), 1714518000'000000)
      << "it is the first of May in the local zone while it is April in UTC";
}

TEST_F(Time, has_names) {
  EXPECT_EQ(local("now"), now);
  EXPECT_EQ(utc("today"), 1714521600'000000);
  EXPECT_EQ(utc("yesterday"), 1714435200'000000);
  EXPECT_EQ(utc("tomorrow"), 1714608000'000000);
  EXPECT_EQ(local("today"), 1714514400'000000);
  EXPECT_EQ(local("yesterday"), 1714428000'000000);
}

TEST_F(Time, is_so_long_ago) {
  EXPECT_EQ(local("1h ago"), 1714563296'789000);
  EXPECT_EQ(local("1 hour ago"), 1714563296'789000);
  EXPECT_EQ(local("-1h"), 1714563296'789000);
  EXPECT_EQ(local("- 1 h 30 min"), std::nullopt);
  EXPECT_EQ(local("-1 h 30 min"), 1714561496'789000);
  EXPECT_EQ(local("-1h30min"), 1714561496'789000);
  EXPECT_EQ(local("+1h"), 1714570496'789000);
  EXPECT_EQ(local("1us ago"), 1714566896'788999);
  EXPECT_EQ(local("1ms ago"), 1714566896'788000);
  for (const char *typed : {"-1s", "-1sec", "-1secs", "-1second", "-1seconds", "1 second ago"}) {
    EXPECT_EQ(local(typed), 1714566895'789000) << typed;
  }
  for (const char *typed : {"-1m", "-1min", "-1mins", "-1minute", "-1minutes"}) {
    EXPECT_EQ(local(typed), 1714566836'789000) << typed;
  }
  for (const char *typed : {"-1h", "-1hr", "-1hrs", "-1hour", "-1hours"}) {
    EXPECT_EQ(local(typed), 1714563296'789000) << typed;
  }
  for (const char *typed : {"-1d", "-1day", "-1days", "-24h"}) {
    EXPECT_EQ(local(typed), 1714480496'789000) << typed;
  }
  for (const char *typed : {"-1w", "-1week", "-1weeks", "-7d"}) {
    EXPECT_EQ(local(typed), 1713962096'789000) << typed;
  }
  for (const char *typed : {"-1month", "-1months", "-2629800s"}) {
    EXPECT_EQ(local(typed), 1711937096'789000) << typed;
  }
  for (const char *typed : {"-1y", "-1year", "-1years", "-31557600s"}) {
    EXPECT_EQ(local(typed), 1683009296'789000) << typed;
  }
}

TEST_F(Time, is_so_many_seconds_since_1970) {
  EXPECT_EQ(local("@0"), 0);
  EXPECT_EQ(local("@1769860800"), 1769860800'000000);
  EXPECT_EQ(local("@1769860800.25"), 1769860800'250000);
}

TEST_F(Time, that_cannot_be_is_none) {
  for (const char *typed :
       {"2026-02-31", "2026-02-29", "2100-02-29", "2026-04-31", "2026-13-01", "2026-00-01",
        "2026-01-00", "2026-01-32", "2026-01-01 24:00", "2026-01-01 25:00:00", "12:60", "12:00:60",
        "99999-01-01", "1969-12-31", "1960-01-01 00:00", "2026-01-31 12:00:00 +25:00"}) {
    EXPECT_EQ(utc(typed), std::nullopt) << typed;
  }
  EXPECT_EQ(utc("2024-02-29"), 1709164800'000000);
  EXPECT_EQ(utc("2000-02-29"), 951782400'000000);
}

TEST_F(Time, that_is_none_is_refused) {
  for (const char *typed : {"",
                            " ",
                            "soon",
                            "now now",
                            "12",
                            "12:",
                            "12:0",
                            ":00",
                            "1:00",
                            "2026",
                            "2026-1-31",
                            "2026-01-31x",
                            "2026-01-31T",
                            "2026-01-31 12",
                            "2026-01-31 12:00:00.",
                            "2026-01-31 12:00:00 CET",
                            "2026-01-31 12:00:00 UTC UTC",
                            "20260131",
                            "1h",
                            "1 hour",
                            "-1",
                            "-",
                            "+",
                            "ago",
                            "1 ago",
                            "-1h ago",
                            "-1 fortnight",
                            "--1h",
                            "-1.5h",
                            "-h",
                            "@",
                            "@-1",
                            "@1.",
                            "@1x",
                            "@0x10",
                            "1h ago today"}) {
    EXPECT_EQ(utc(typed), std::nullopt) << typed;
  }
}

TEST_F(Time, beyond_all_counting_is_refused) {
  for (const char *typed : {"@18446744073709551616", "@18446744073710", "+18446744073709551615us",
                            "-18446744073709551616s", "+999999999999y", "-18446744073709551615y",
                            "-60y", "+9999999999999999999h 9999999999999999999h"}) {
    EXPECT_EQ(utc(typed), std::nullopt) << typed;
  }
}

TEST_F(Time, heeds_summer_time) {
  set_zone("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(local("2026-01-31 12:00"), 1769857200'000000);
  EXPECT_EQ(local("2026-07-01 12:00"), 1782900000'000000);
  EXPECT_EQ(date_time(1769857200, time_zone::local), "2026-01-31 12:00:00");
  EXPECT_EQ(date_time(1782900000, time_zone::local), "2026-07-01 12:00:00");
}

TEST_F(Time, is_shown_in_the_wanted_zone) {
  EXPECT_EQ(date_time(1714564800, time_zone::utc), "2024-05-01 12:00:00");
  EXPECT_EQ(date_time(1714564800, time_zone::local), "2024-05-01 14:00:00");
  EXPECT_EQ(date_time(0, time_zone::utc), "1970-01-01 00:00:00");
  EXPECT_EQ(date_time(4294967295, time_zone::utc), "2106-02-07 06:28:15");
}

TEST_F(Time, shows_how_far_the_zone_is_from_utc) {
  EXPECT_EQ(zone_offset(0), "+02:00");
  set_zone("WEST+3:30");
  EXPECT_EQ(zone_offset(0), "-03:30");
}

TEST_F(Time, shows_microseconds_as_a_fraction_where_they_are_one) {
  EXPECT_EQ(usecs(0), ".000000");
  EXPECT_EQ(usecs(1), ".000001");
  EXPECT_EQ(usecs(999999), ".999999");
  EXPECT_EQ(usecs(1000000), "+1000000us");
  EXPECT_EQ(usecs(4294967295), "+4294967295us");
}

TEST_F(Time, length_is_shown_in_two_units) {
  EXPECT_EQ(duration_text(0), "0 s");
  EXPECT_EQ(duration_text(7), "7 us");
  EXPECT_EQ(duration_text(999), "999 us");
  EXPECT_EQ(duration_text(20'500), "20 ms");
  EXPECT_EQ(duration_text(1'000'000), "1 s");
  EXPECT_EQ(duration_text(1'599'999), "1.5 s");
  EXPECT_EQ(duration_text(59'999'999), "59.9 s");
  EXPECT_EQ(duration_text(60'000'000), "1 min");
  EXPECT_EQ(duration_text(3599'999'999), "59 min 59 s");
  EXPECT_EQ(duration_text(7500'000'000), "2 h 5 min");
  EXPECT_EQ(duration_text(86400'000'000), "1 d");
  EXPECT_EQ(duration_text(276'300'000'000), "3 d 4 h");
  EXPECT_EQ(duration_text(18446744073709551615u), "213503982 d 8 h");
}

}  // namespace
}  // namespace vesk::test
