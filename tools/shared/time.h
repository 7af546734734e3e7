// Points in time, as a person types and reads them.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace vesk::shared {

enum class time_zone : uint8_t { local, utc };

// Understands what --since and --until take: "2026-01-31 12:00:00.5", also without the fraction,
// the seconds, the time of day (midnight) or the date (today), with a "T" in the middle and with
// "UTC", "Z" or "+02:00" behind it; "now", "today", "yesterday", "tomorrow"; "1h 30min ago",
// "-1h 30min" and "+1h"; "@1769860800.5", seconds since 1970. A month is 30.44 days long, a year
// 365.25.
//
// Microseconds since 1970; nothing when it is no time, or one that cannot be (the 31st of February)
// or lies before 1970. `now` in the same unit.
[[nodiscard]] std::optional<uint64_t> parse_time(std::string_view typed, uint64_t now,
                                                 time_zone zone);

// "2026-01-31 12:00:00", or what is to stand between the date and the time of day.
void append_date_time(std::string &out, time_t secs, time_zone zone, char between = ' ');

// ".000001"; where the sender's microseconds are no fraction of a second, "+1000001us", so that
// they do not pass for one.
void append_usecs(std::string &out, uint32_t usecs);

// "+02:00", by which the zone's time differs from UTC at that moment.
void append_zone_offset(std::string &out, time_t secs, time_zone zone);

// A length of time as people say it, to two units and rounded down: "3 d 4 h", "2 h 5 min",
// "1 min", "1.5 s", "20 ms", "7 us".
[[nodiscard]] std::string duration_text(uint64_t usecs);

}  // namespace vesk::shared
