// How JSON and the members of its objects are written.
#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdio>
#include <string_view>
#include <type_traits>

#include "tools/shared/text.h"

namespace vesk::shared {

// A text in UTF-8 as a JSON string.
template <typename Writer>
void write_string(Writer &writer, std::string_view text) {
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

// A text as a JSON string, on one line and in UTF-8 whatever its bytes are.
template <typename Writer>
void write_text(Writer &writer, std::string_view text) {
  write_string(writer, safely(text));
}

// Writes `"name": value`; the value is a truth value, a number or a text.
template <typename Writer, typename Value>
void write_member(Writer &writer, const char *name, const Value &value) {
  writer.Key(name);
  if constexpr (std::is_same_v<Value, bool>) {
    writer.Bool(value);
  } else if constexpr (std::is_floating_point_v<Value>) {
    writer.Double(value);
  } else if constexpr (std::is_unsigned_v<Value>) {
    writer.Uint64(value);
  } else {
    write_text(writer, value);
  }
}

// One line on standard output.
inline void print_json(const rapidjson::StringBuffer &written) {
  std::printf("%s\n", written.GetString());
}

}  // namespace vesk::shared
