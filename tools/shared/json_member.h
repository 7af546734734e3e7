// The members of JSON objects.
#pragma once

#include <type_traits>

#include "tools/shared/json.h"

namespace vesk::shared {

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

}  // namespace vesk::shared
