// An entry's data as a person reads them.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace vesk {

// Appends text as it is, except that a terminal is left unharmed and a line stays a line: control
// characters appear as \n, \e, \x07, and marks that would turn or break the line as \u202e. Bytes
// that are not UTF-8 appear as \xff.
void append_safely(std::string &out, std::string_view text);

// Appends the data of an entry. Data are text when they are UTF-8 and hold no control characters
// but those that occur in text; their zero padding and one newline at their end are left out.
// Anything else appears as its length and its first bytes in hexadecimal.
void append_data(std::string &out, std::span<const uint8_t> data);

}  // namespace vesk
