// Names for the numbers of senders and object types, from a file that the user gives.
//
// Each line is "uuid NUMBER NAME" or "type NUMBER NAME", the number decimal; a NAME goes on to the
// end of its line. Empty lines and lines that begin with "#" count for nothing. A number has one
// name and a name belongs to one number, so that either can be typed for the other; a name is UTF-8
// without control characters, and is no number itself.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "base/vesk_failure.h"

namespace vesk::veskshow {

using numbered_names = std::map<uint16_t, std::string>;

struct name_table {
  numbered_names uuids;
  numbered_names types;
};

// Reads the file. What is wrong comes with the line's number.
failure read_names(const std::string &path, name_table &ret_names);

// The name of a number, or null.
[[nodiscard]] const std::string *find_name(const numbered_names &names, uint16_t number);

// The number that was typed, or that has the typed name; empty when it is neither.
[[nodiscard]] std::optional<uint16_t> number_of(const numbered_names &names,
                                                std::string_view typed);

}  // namespace vesk::veskshow
