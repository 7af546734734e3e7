#include "tools/shared/text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace vesk::shared {

namespace {

constexpr size_t max_padding = 3;
constexpr size_t hex_bytes_shown = 16;

struct code_point {
  char32_t value;
  size_t length;  // 0: the text does not begin with a character in UTF-8
};

// Decodes the first character of a text that is not empty. Overlong forms, surrogates and values
// beyond the last code point are no characters.
code_point first_character(std::string_view text) {
  const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
  const uint8_t lead = byte(0);
  if (lead < 0x80) return {lead, 1};

  const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC0 || lead >= 0xF8 || text.size() < length) return {0, 0};
  char32_t value = lead & (0xFFu >> (length + 1));
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return {0, 0};
    value = value << 6 | (byte(i) & 0x3F);
  }
  constexpr char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
  if (value < least[length] || surrogate || value > 0x10FFFF) return {0, 0};
  return {value, length};
}

bool is_control(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0);
}

// The control characters that occur in text: bell, backspace, the white space, escape.
bool is_text_control(char32_t c) {
  return (c >= 0x07 && c <= 0x0D) || c == 0x1B;
}

// Line and paragraph separators, and the marks that change the direction of writing.
bool turns_or_breaks_line(char32_t c) {
  return (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

// Whether all eight bytes are printable ASCII.
bool are_printable(const char *eight) {
  constexpr uint64_t each = 0x0101010101010101;
  uint64_t word;
  std::memcpy(&word, eight, sizeof word);
  // A byte of 0x80 or more has its top bit set as it is, 0x7F gets it by the addition, those below
  // 0x20 by the subtraction. A carry or borrow comes only from a byte that is found anyhow.
  return ((word | (word + each) | (word - 0x20 * each)) & (0x80 * each)) == 0;
}

// How many characters at the front of the text are surely printable ASCII. Most of all text is,
// and most of the time goes into looking at it.
size_t printable_front(std::string_view text) {
  size_t length = 0;
  while (text.size() - length >= 8 && are_printable(text.data() + length)) length += 8;
  while (length < text.size() && text[length] >= 0x20 && text[length] < 0x7F) ++length;
  return length;
}

bool is_text(std::string_view text) {
  for (;;) {
    text.remove_prefix(printable_front(text));
    if (text.empty()) return true;
    const code_point c = first_character(text);
    if (c.length == 0 || (is_control(c.value) && !is_text_control(c.value))) return false;
    text.remove_prefix(c.length);
  }
}

std::string escaped(char32_t control) {
  if (control == '\n') return "\\n";
  if (control == '\r') return "\\r";
  if (control == 0x1B) return "\\e";
  return formatted("\\x%02x", static_cast<unsigned>(control));
}

std::string_view without_padding(std::string_view data) {
  for (size_t i = 0; i < max_padding && data.ends_with('\0'); ++i) data.remove_suffix(1);
  return data;
}

// "<40 bytes: 01020304 ...>"
void append_start(std::string &out, std::span<const uint8_t> data) {
  out.append("<").append(std::to_string(data.size())).append(" bytes: ");
  append_hex(out, data.first(std::min(data.size(), hex_bytes_shown)));
  out += data.size() > hex_bytes_shown ? " ...>" : ">";
}

}  // namespace

bool is_digits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

std::string formatted(const char *format, ...) {
  char buffer[128];
  va_list values;
  va_start(values, format);
  const int length = std::vsnprintf(buffer, sizeof buffer, format, values);
  va_end(values);
  return {buffer, std::min(static_cast<size_t>(length), sizeof buffer - 1)};
}

std::optional<std::string_view> text_of(std::span<const uint8_t> data) {
  const std::string_view text = without_padding(characters_of(data));
  if (!is_text(text)) return {};
  return text;
}

void append_safely(std::string &out, std::string_view text) {
  for (;;) {
    const size_t printable = printable_front(text);
    out.append(text, 0, printable);
    text.remove_prefix(printable);
    if (text.empty()) return;
    const code_point c = first_character(text);
    const size_t length = std::max<size_t>(c.length, 1);
    if (c.length == 0) {
      out += formatted("\\x%02x", static_cast<uint8_t>(text[0]));
    } else if (is_control(c.value) && c.value != '\t') {
      out += escaped(c.value);
    } else if (turns_or_breaks_line(c.value)) {
      out += formatted("\\u%04x", static_cast<unsigned>(c.value));
    } else {
      out += text.substr(0, length);
    }
    text.remove_prefix(length);
  }
}

std::string safely(std::string_view text) {
  std::string safe;
  append_safely(safe, text);
  return safe;
}

void append_data(std::string &out, std::span<const uint8_t> data) {
  std::optional<std::string_view> text = text_of(data);
  if (!text) return append_start(out, data);
  if (text->ends_with('\n')) text->remove_suffix(1);
  append_safely(out, *text);
}

void append_hex(std::string &out, std::span<const uint8_t> data, size_t group) {
  constexpr char digits[] = "0123456789abcdef";
  size_t end = out.size();
  out.resize(end + 3 * data.size());
  for (size_t i = 0; i < data.size(); ++i) {
    if (i > 0 && i % group == 0) out[end++] = ' ';
    out[end++] = digits[data[i] >> 4];
    out[end++] = digits[data[i] & 0xF];
  }
  out.resize(end);
}

}  // namespace vesk::shared
