#include "tools/shared/time.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdlib>

namespace vesk::shared {

namespace {

constexpr uint64_t usec = 1;
constexpr uint64_t msec = 1000 * usec;
constexpr uint64_t second = 1000 * msec;
constexpr uint64_t minute = 60 * second;
constexpr uint64_t hour = 60 * minute;
constexpr uint64_t day = 24 * hour;
constexpr uint64_t month = 2'629'800 * second;
constexpr uint64_t year = 12 * month;

struct unit {
  std::string_view name;
  uint64_t length;
};

constexpr unit units[] = {
    {"us", usec},       {"ms", msec},        {"s", second},     {"sec", second},
    {"second", second}, {"m", minute},       {"min", minute},   {"minute", minute},
    {"h", hour},        {"hr", hour},        {"hour", hour},    {"d", day},
    {"day", day},       {"w", 7 * day},      {"week", 7 * day}, {"month", month},
    {"months", month},  {"y", year},         {"year", year},    {"years", year},
    {"secs", second},   {"seconds", second}, {"mins", minute},  {"minutes", minute},
    {"hrs", hour},      {"hours", hour},     {"days", day},     {"weeks", 7 * day},
};

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool is_letter(char c) {
  return c >= 'a' && c <= 'z';
}

// What is typed, taken from the front. Each taker leaves the text alone where it takes nothing.
class scanner {
 public:
  explicit scanner(std::string_view text) : rest_(text) {}

  bool at_end() const { return rest_.empty(); }
  bool at_digit() const { return !rest_.empty() && is_digit(rest_[0]); }

  bool take(std::string_view what) {
    if (!rest_.starts_with(what)) return false;
    rest_.remove_prefix(what.size());
    return true;
  }

  bool take_blanks() {
    const bool any = rest_.starts_with(' ');
    while (take(" ")) {
    }
    return any;
  }

  std::string_view take_word() {
    const auto end = std::find_if_not(rest_.begin(), rest_.end(), is_letter);
    const auto word = rest_.substr(0, static_cast<size_t>(end - rest_.begin()));
    rest_.remove_prefix(word.size());
    return word;
  }

  std::optional<uint64_t> take_number() {
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
    if (error != std::errc()) return {};
    rest_.remove_prefix(static_cast<size_t>(end - rest_.data()));
    return number;
  }

  // A number of exactly so many digits, `most` at most.
  bool take_digits(size_t count, int most, int &ret_number) {
    if (rest_.size() < count || !std::all_of(rest_.begin(), rest_.begin() + count, is_digit)) {
      return false;
    }
    std::from_chars(rest_.data(), rest_.data() + count, ret_number);
    if (ret_number > most) return false;
    rest_.remove_prefix(count);
    return true;
  }

  // The microseconds of ".5" or ".123456789"; 0 where no fraction follows.
  std::optional<uint64_t> take_fraction() {
    if (!take(".")) return 0;
    if (!at_digit()) return {};
    uint64_t usecs = 0;
    for (uint64_t worth = second / 10; at_digit(); worth /= 10) {
      usecs += static_cast<uint64_t>(rest_[0] - '0') * worth;
      rest_.remove_prefix(1);
    }
    return usecs;
  }

 private:
  std::string_view rest_;
};

// `number` and so many times `length`.
std::optional<uint64_t> sum(uint64_t number, uint64_t count, uint64_t length) {
  uint64_t result = 0;
  if (__builtin_mul_overflow(count, length, &result)) return {};
  if (__builtin_add_overflow(number, result, &result)) return {};
  return result;
}

// --- lengths of time before or after now ---

std::optional<uint64_t> take_length(scanner &text) {
  std::optional<uint64_t> total = 0;
  do {
    const auto count = text.take_number();
    text.take_blanks();
    const std::string_view name = text.take_word();
    const auto found = std::find_if(std::begin(units), std::end(units),
                                    [&](const unit &u) { return u.name == name; });
    if (!count || found == std::end(units)) return {};
    total = sum(*total, *count, found->length);
    text.take_blanks();
  } while (total && text.at_digit());
  return total;
}

std::optional<uint64_t> parse_relative(std::string_view typed, uint64_t now) {
  scanner text(typed);
  const bool minus = text.take("-");
  const bool plus = !minus && text.take("+");
  const auto length = take_length(text);
  const bool ago = text.take("ago");
  if (!length || !text.at_end() || minus + plus + ago != 1) return {};
  if (plus) return sum(now, *length, usec);
  return *length <= now ? std::optional(now - *length) : std::nullopt;
}

// --- dates and times of day ---

// The zone that a time is meant in: so many seconds east of Greenwich; or the local one.
using place = std::optional<int>;

place place_of(time_zone zone) {
  return zone == time_zone::utc ? place(0) : place();
}

std::optional<uint64_t> since_1970(struct tm parts, place east) {
  parts.tm_isdst = -1;
  const time_t secs = east ? timegm(&parts) - *east : mktime(&parts);
  if (secs < 0) return {};
  return static_cast<uint64_t>(secs) * second;
}

struct tm parts_of(time_t secs, place east) {
  struct tm parts = {};
  secs += east.value_or(0);
  east ? gmtime_r(&secs, &parts) : localtime_r(&secs, &parts);
  return parts;
}

// Midnight, so many days after today.
std::optional<uint64_t> midnight(uint64_t now, place east, int days) {
  struct tm parts = parts_of(static_cast<time_t>(now / second), east);
  parts.tm_mday += days;
  parts.tm_hour = parts.tm_min = parts.tm_sec = 0;
  return since_1970(parts, east);
}

bool take_date(scanner &text, struct tm &ret_parts) {
  int y = 0, m = 0, d = 0;
  if (!text.take_digits(4, 9999, y) || !text.take("-") || !text.take_digits(2, 12, m) ||
      !text.take("-") || !text.take_digits(2, 31, d)) {
    return false;
  }
  ret_parts.tm_year = y - 1900;
  ret_parts.tm_mon = m - 1;
  ret_parts.tm_mday = d;
  return (std::chrono::year(y) / m / d).ok();
}

// Hours and minutes; seconds and their fraction where they follow.
bool take_time(scanner &text, struct tm &ret_parts, uint64_t &ret_usecs) {
  if (!text.take_digits(2, 23, ret_parts.tm_hour) || !text.take(":") ||
      !text.take_digits(2, 59, ret_parts.tm_min)) {
    return false;
  }
  if (!text.take(":")) return true;
  if (!text.take_digits(2, 59, ret_parts.tm_sec)) return false;
  const auto fraction = text.take_fraction();
  ret_usecs = fraction.value_or(0);
  return fraction.has_value();
}

// "UTC", "Z", "+02:00" or nothing, up to the end of the text.
bool take_zone(scanner &text, place &ret_east) {
  text.take_blanks();
  if (text.take("UTC") || text.take("Z")) {
    ret_east = 0;
  } else if (const bool minus = text.take("-"); minus || text.take("+")) {
    int hours = 0, minutes = 0;
    if (!text.take_digits(2, 23, hours)) return false;
    text.take(":");
    if (!text.take_digits(2, 59, minutes)) return false;
    ret_east = (minus ? -1 : 1) * (hours * 60 + minutes) * 60;
  }
  return text.at_end();
}

std::optional<uint64_t> parse_absolute(std::string_view typed, uint64_t now, place east) {
  scanner text(typed);
  struct tm parts = {};
  uint64_t usecs = 0;
  const bool date = typed.size() > 4 && typed[4] == '-';
  if (date && !take_date(text, parts)) return {};
  const bool time = !date || text.take("T") || (text.take_blanks() && text.at_digit());
  if (time && !take_time(text, parts, usecs)) return {};
  if (!take_zone(text, east)) return {};
  if (!date) {
    const struct tm today = parts_of(static_cast<time_t>(now / second), east);
    parts.tm_year = today.tm_year;
    parts.tm_mon = today.tm_mon;
    parts.tm_mday = today.tm_mday;
  }
  const auto whole = since_1970(parts, east);
  return whole ? std::optional(*whole + usecs) : std::nullopt;
}

std::optional<uint64_t> parse_since_1970(std::string_view typed) {
  scanner text(typed);
  if (!text.take("@")) return {};
  const auto secs = text.take_number();
  const auto fraction = text.take_fraction();
  if (!secs || !fraction || !text.at_end()) return {};
  return sum(*fraction, *secs, second);
}

// --- what people read ---

void append_two_digits(std::string &out, long number) {
  out += static_cast<char>('0' + number / 10);
  out += static_cast<char>('0' + number % 10);
}

std::string in_units(uint64_t usecs, const unit &large, const unit &small) {
  std::string text = std::to_string(usecs / large.length);
  text.append(" ").append(large.name);
  if (const uint64_t rest = usecs % large.length / small.length; rest > 0) {
    text.append(" ").append(std::to_string(rest)).append(" ").append(small.name);
  }
  return text;
}

}  // namespace

std::optional<uint64_t> parse_time(std::string_view typed, uint64_t now, time_zone zone) {
  typed.remove_prefix(std::min(typed.find_first_not_of(' '), typed.size()));
  typed = typed.substr(0, typed.find_last_not_of(' ') + 1);
  const place east = place_of(zone);
  if (typed == "now") return now;
  if (typed == "today") return midnight(now, east, 0);
  if (typed == "yesterday") return midnight(now, east, -1);
  if (typed == "tomorrow") return midnight(now, east, 1);
  if (typed.starts_with('@')) return parse_since_1970(typed);
  if (auto time = parse_absolute(typed, now, east)) return time;
  return parse_relative(typed, now);
}

void append_date_time(std::string &out, time_t secs, time_zone zone, char between) {
  const struct tm parts = parts_of(secs, place_of(zone));
  append_two_digits(out, parts.tm_year / 100 + 19);
  append_two_digits(out, parts.tm_year % 100);
  append_two_digits(out += '-', parts.tm_mon + 1);
  append_two_digits(out += '-', parts.tm_mday);
  append_two_digits(out += between, parts.tm_hour);
  append_two_digits(out += ':', parts.tm_min);
  append_two_digits(out += ':', parts.tm_sec);
}

void append_usecs(std::string &out, uint32_t usecs) {
  if (usecs >= second) {
    out.append("+").append(std::to_string(usecs)).append("us");
  } else {
    append_two_digits(out += '.', usecs / 10'000);
    append_two_digits(out, usecs / 100 % 100);
    append_two_digits(out, usecs % 100);
  }
}

void append_zone_offset(std::string &out, time_t secs, time_zone zone) {
  const long east = zone == time_zone::utc ? 0 : parts_of(secs, {}).tm_gmtoff;
  const long minutes = std::abs(east) / 60;
  append_two_digits(out += east < 0 ? '-' : '+', minutes / 60);
  append_two_digits(out += ':', minutes % 60);
}

std::string duration_text(uint64_t usecs) {
  if (usecs >= day) return in_units(usecs, {"d", day}, {"h", hour});
  if (usecs >= hour) return in_units(usecs, {"h", hour}, {"min", minute});
  if (usecs >= minute) return in_units(usecs, {"min", minute}, {"s", second});
  if (usecs > 0 && usecs < msec) return std::to_string(usecs) + " us";
  if (usecs > 0 && usecs < second) return std::to_string(usecs / msec) + " ms";
  const uint64_t tenths = usecs % second / (second / 10);
  return std::to_string(usecs / second) + (tenths > 0 ? "." + std::to_string(tenths) : "") + " s";
}

}  // namespace vesk::shared
