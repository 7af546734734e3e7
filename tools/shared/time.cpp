#include "tools/shared/time.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>

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
    if (!at_digit() || error != std::errc()) return {};
    rest_.remove_prefix(static_cast<size_t>(end - rest_.data()));
    return number;
  }

  // A number of exactly so many digits.
  std::optional<int> take_digits(size_t count) {
    int number = 0;
    if (rest_.size() < count || !std::all_of(rest_.begin(), rest_.begin() + count, is_digit)) {
      return {};
    }
    std::from_chars(rest_.data(), rest_.data() + count, number);
    rest_.remove_prefix(count);
    return number;
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

std::optional<uint64_t> sum(uint64_t a, uint64_t b) {
  uint64_t result = 0;
  if (__builtin_add_overflow(a, b, &result)) return {};
  return result;
}

std::optional<uint64_t> product(uint64_t a, uint64_t b) {
  uint64_t result = 0;
  if (__builtin_mul_overflow(a, b, &result)) return {};
  return result;
}

// --- lengths of time before or after now ---

std::optional<uint64_t> take_length(scanner &text) {
  uint64_t total = 0;
  do {
    const auto count = text.take_number();
    text.take_blanks();
    const std::string_view name = text.take_word();
    const auto found = std::find_if(std::begin(units), std::end(units),
                                    [&](const unit &u) { return u.name == name; });
    if (!count || found == std::end(units)) return {};
    const auto length = product(*count, found->length);
    const auto so_far = length ? sum(total, *length) : std::nullopt;
    if (!so_far) return {};
    total = *so_far;
    text.take_blanks();
  } while (text.at_digit());
  return total;
}

std::optional<uint64_t> before(uint64_t now, std::optional<uint64_t> length) {
  if (!length || *length > now) return {};
  return now - *length;
}

std::optional<uint64_t> parse_relative(std::string_view typed, uint64_t now) {
  scanner text(typed);
  const bool minus = text.take("-");
  const bool plus = !minus && text.take("+");
  const auto length = take_length(text);
  const bool ago = text.take("ago");
  if (!length || !text.at_end() || minus + plus + ago != 1) return {};
  return plus ? sum(now, *length) : before(now, length);
}

// --- dates and times of day ---

// The zone that a time is meant in: one of the two, or a number of seconds east of Greenwich.
struct place {
  time_zone zone;
  std::optional<int> east;
};

std::optional<uint64_t> since_1970(const struct tm &parts, const place &where) {
  struct tm copy = parts;
  copy.tm_isdst = -1;
  const bool local = where.zone == time_zone::local && !where.east;
  const time_t secs = (local ? mktime(&copy) : timegm(&copy)) - where.east.value_or(0);
  if (secs < 0) return {};
  return product(static_cast<uint64_t>(secs), second);
}

struct tm parts_of(uint64_t usecs, const place &where) {
  const auto secs = static_cast<time_t>(usecs / second) + where.east.value_or(0);
  struct tm parts = {};
  const bool local = where.zone == time_zone::local && !where.east;
  local ? localtime_r(&secs, &parts) : gmtime_r(&secs, &parts);
  return parts;
}

// Midnight, so many days after today.
std::optional<uint64_t> midnight(uint64_t now, time_zone zone, int days) {
  struct tm parts = parts_of(now, {zone, {}});
  parts.tm_mday += days;
  parts.tm_hour = parts.tm_min = parts.tm_sec = 0;
  return since_1970(parts, {zone, {}});
}

int days_in(int month_number, int year_number) {
  constexpr std::array<int, 12> days = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = year_number % 4 == 0 && (year_number % 100 != 0 || year_number % 400 == 0);
  return days[static_cast<size_t>(month_number - 1)] + (month_number == 2 && leap ? 1 : 0);
}

bool take_date(scanner &text, struct tm &parts) {
  const auto y = text.take_digits(4);
  if (!y || !text.take("-")) return false;
  const auto m = text.take_digits(2);
  if (!m || *m < 1 || *m > 12 || !text.take("-")) return false;
  const auto d = text.take_digits(2);
  if (!d || *d < 1 || *d > days_in(*m, *y)) return false;
  parts.tm_year = *y - 1900;
  parts.tm_mon = *m - 1;
  parts.tm_mday = *d;
  return true;
}

// Hours and minutes; seconds and their fraction where they follow.
bool take_time(scanner &text, struct tm &parts, uint64_t &usecs) {
  const auto h = text.take_digits(2);
  if (!h || *h > 23 || !text.take(":")) return false;
  const auto m = text.take_digits(2);
  if (!m || *m > 59) return false;
  parts.tm_hour = *h;
  parts.tm_min = *m;
  if (!text.take(":")) return true;
  const auto s = text.take_digits(2);
  const auto fraction = text.take_fraction();
  if (!s || *s > 59 || !fraction) return false;
  parts.tm_sec = *s;
  usecs = *fraction;
  return true;
}

// "UTC", "Z", "+02:00" or nothing, up to the end of the text.
bool take_zone(scanner &text, place &where) {
  text.take_blanks();
  if (text.take("UTC") || text.take("Z")) {
    where.east = 0;
  } else if (const bool minus = text.take("-"); minus || text.take("+")) {
    const auto h = text.take_digits(2);
    text.take(":");
    const auto m = text.take_digits(2);
    if (!h || *h > 23 || !m || *m > 59) return false;
    const int east = (*h * 60 + *m) * 60;
    where.east = minus ? -east : east;
  }
  return text.at_end();
}

bool has_date(std::string_view typed) {
  return typed.size() > 4 && typed[4] == '-';
}

std::optional<uint64_t> parse_absolute(std::string_view typed, uint64_t now, time_zone zone) {
  scanner text(typed);
  struct tm parts = {};
  uint64_t usecs = 0;
  const bool date = has_date(typed);
  if (date && !take_date(text, parts)) return {};
  const bool time = !date || text.take("T") || (text.take_blanks() && text.at_digit());
  if (time && !take_time(text, parts, usecs)) return {};
  place where{zone, {}};
  if (!take_zone(text, where)) return {};
  if (!date) {
    const struct tm today = parts_of(now, where);
    parts.tm_year = today.tm_year;
    parts.tm_mon = today.tm_mon;
    parts.tm_mday = today.tm_mday;
  }
  const auto secs = since_1970(parts, where);
  return secs ? sum(*secs, usecs) : secs;
}

std::optional<uint64_t> parse_since_1970(std::string_view typed) {
  scanner text(typed);
  if (!text.take("@")) return {};
  const auto secs = text.take_number();
  const auto fraction = text.take_fraction();
  if (!secs || !fraction || !text.at_end()) return {};
  const auto usecs = product(*secs, second);
  return usecs ? sum(*usecs, *fraction) : usecs;
}

std::string_view without_blanks_around(std::string_view text) {
  while (text.starts_with(' ')) text.remove_prefix(1);
  while (text.ends_with(' ')) text.remove_suffix(1);
  return text;
}

// --- what people read ---

void append_two_digits(std::string &out, int number) {
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
  typed = without_blanks_around(typed);
  if (typed == "now") return now;
  if (typed == "today") return midnight(now, zone, 0);
  if (typed == "yesterday") return midnight(now, zone, -1);
  if (typed == "tomorrow") return midnight(now, zone, 1);
  if (typed.starts_with('@')) return parse_since_1970(typed);
  if (auto time = parse_absolute(typed, now, zone)) return time;
  return parse_relative(typed, now);
}

void append_date_time(std::string &out, uint32_t secs, time_zone zone) {
  const time_t time = secs;
  struct tm parts;
  zone == time_zone::utc ? gmtime_r(&time, &parts) : localtime_r(&time, &parts);
  const int years = parts.tm_year + 1900;
  append_two_digits(out, years / 100);
  append_two_digits(out, years % 100);
  out += '-';
  append_two_digits(out, parts.tm_mon + 1);
  out += '-';
  append_two_digits(out, parts.tm_mday);
  out += ' ';
  append_two_digits(out, parts.tm_hour);
  out += ':';
  append_two_digits(out, parts.tm_min);
  out += ':';
  append_two_digits(out, parts.tm_sec);
}

void append_usecs(std::string &out, uint32_t usecs) {
  if (usecs >= second) {
    out.append("+").append(std::to_string(usecs)).append("us");
    return;
  }
  out += '.';
  for (uint32_t worth = 100'000; worth > 0; worth /= 10) {
    out += static_cast<char>('0' + usecs / worth % 10);
  }
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
