// What a parser of JSON makes of an object, of any writer.
#pragma once

#include <map>
#include <string>

namespace vesk::test {

using field_map = std::map<std::string, std::string>;

// The object's members: each a string, or an array of numbers, which is how journalctl writes bytes
// that are no printable text. Throws on anything else, on a name that comes twice, and on anything
// before or behind the object but white space.
field_map fields_in(const std::string &json);

}  // namespace vesk::test
