#include "tools/veskshow_text.h"

#include <algorithm>
#include <cstdio>

namespace vesk {

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

bool is_text(std::string_view text) {
  while (!text.empty()) {
    const code_point c = first_character(text);
    if (c.length == 0 || (is_control(c.value) && !is_text_control(c.value))) return false;
    text.remove_prefix(c.length);
  }
  return true;
}

template <typename... Args>
void append_format(std::string &out, const char *format, Args... args) {
  char buffer[32];
  const int length = std::snprintf(buffer, sizeof buffer, format, args...);
  out.append(buffer, static_cast<size_t>(length));
}

void append_control(std::string &out, char32_t c) {
  switch (c) {
    case '\t':
      out += '\t';
      break;
    case '\n':
      out += "\\n";
      break;
    case '\r':
      out += "\\r";
      break;
    case 0x1B:
      out += "\\e";
      break;
    default:
      append_format(out, "\\x%02x", static_cast<unsigned>(c));
      break;
  }
}

std::string_view without_padding(std::string_view data) {
  for (size_t i = 0; i < max_padding && data.ends_with('\0'); ++i) data.remove_suffix(1);
  return data;
}

void append_hex(std::string &out, std::span<const uint8_t> data) {
  append_format(out, "<%zu bytes:", data.size());
  const size_t shown = std::min(data.size(), hex_bytes_shown);
  for (size_t i = 0; i < shown; ++i) append_format(out, i % 4 == 0 ? " %02x" : "%02x", data[i]);
  out += shown < data.size() ? " ...>" : ">";
}

}  // namespace

void append_safely(std::string &out, std::string_view text) {
  while (!text.empty()) {
    const code_point c = first_character(text);
    const size_t length = std::max<size_t>(c.length, 1);
    if (c.length == 0)
      append_format(out, "\\x%02x", static_cast<uint8_t>(text[0]));
    else if (is_control(c.value))
      append_control(out, c.value);
    else if (turns_or_breaks_line(c.value))
      append_format(out, "\\u%04x", static_cast<unsigned>(c.value));
    else
      out += text.substr(0, length);
    text.remove_prefix(length);
  }
}

void append_data(std::string &out, std::span<const uint8_t> data) {
  std::string_view text =
      without_padding({reinterpret_cast<const char *>(data.data()), data.size()});
  if (!is_text(text)) {
    append_hex(out, data);
    return;
  }
  if (text.ends_with('\n')) text.remove_suffix(1);
  append_safely(out, text);
}

}  // namespace vesk
