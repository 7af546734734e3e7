// An entry's data as a person reads them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vesk::shared {

// The text that an entry's data are, without its zero padding of up to three bytes; nothing where
// the data are no text. Text is UTF-8 without control characters but those that occur in text. It
// lies in the data.
std::optional<std::string_view> text_of(std::span<const uint8_t> data);

// Whether every byte is printable ASCII, so that append_safely() would change nothing. Most text
// is.
bool is_printable(std::string_view text);

// Appends text as it is, except that a terminal is left unharmed and a line stays a line: control
// characters appear as \n, \e, \x07, and marks that would turn or break the line as \u202e. Bytes
// that are not UTF-8 appear as \xff.
void append_safely(std::string &out, std::string_view text);

// Appends the data of an entry on one line: text without one newline at its end, anything else as
// its length and its first bytes in hexadecimal.
void append_data(std::string &out, std::span<const uint8_t> data);

// Appends all bytes in hexadecimal, in groups of four: "01020304 05".
void append_hex(std::string &out, std::span<const uint8_t> data);

}  // namespace vesk::shared
