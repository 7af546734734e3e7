// How JSON is written.
#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdio>
#include <string>
#include <string_view>

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

// One line on standard output.
inline void print_json(const rapidjson::StringBuffer &written) {
  std::printf("%s\n", written.GetString());
}

}  // namespace vesk::shared
