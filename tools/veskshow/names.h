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

namespace vesk::veskshow {

struct name_table {
  std::map<uint16_t, std::string> uuids;
  std::map<uint16_t, std::string> types;
};

// Reads the file into `names`. Returns an empty string, or what is wrong, with the line's number.
std::string read_names(const std::string &path, name_table &names);

// The name of a number, or the number itself in decimal.
std::string name_of(const std::map<uint16_t, std::string> &names, uint16_t number);

// The number that was typed, or that has the typed name; empty when it is neither.
std::optional<uint16_t> number_of(const std::map<uint16_t, std::string> &names,
                                  std::string_view typed);

}  // namespace vesk::veskshow
