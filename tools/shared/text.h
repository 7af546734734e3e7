// Texts, numbers and an entry's data as a person types and reads them.
#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vesk::shared {

// Bytes as the characters that they are.
[[nodiscard]] inline std::string_view characters_of(std::span<const uint8_t> bytes) {
  return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

// Whether the text consists of decimal digits, at least one.
[[nodiscard]] bool is_digits(std::string_view text);

// The number of which the text consists, in decimal digits without a sign; nothing where it is no
// such number, or one that is too large.
template <std::unsigned_integral Number>
[[nodiscard]] std::optional<Number> number_in(std::string_view text) {
  Number number = 0;
  const char *end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, number);
  if (parsed.ec != std::errc() || parsed.ptr != end) return {};
  return number;
}

// As printf() would print it, up to 127 characters.
[[nodiscard, gnu::format(printf, 1, 2)]] std::string formatted(const char *format, ...);

// The text that an entry's data are, without its zero padding of up to three bytes; nothing where
// the data are no text. Text is UTF-8 without control characters except those that occur in text.
// It lies in the data.
[[nodiscard]] std::optional<std::string_view> text_of(std::span<const uint8_t> data);

// Appends text as it is, except that a terminal is left unharmed and a line stays a line: control
// characters appear as \n, \e, \x07, and marks that would turn or break the line as \u202e. Bytes
// that are not UTF-8 appear as \xff.
void append_safely(std::string &out, std::string_view text);
[[nodiscard]] std::string safely(std::string_view text);

// Appends the data of an entry on one line: text without one newline at its end, anything else as
// its length and its first bytes in hexadecimal.
void append_data(std::string &out, std::span<const uint8_t> data);

// Appends all bytes in hexadecimal, in groups of so many: "01020304 05".
void append_hex(std::string &out, std::span<const uint8_t> data, size_t group = 4);

}  // namespace vesk::shared
