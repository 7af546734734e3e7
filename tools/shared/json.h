// What the subcommands that write JSON share.
#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdio>
#include <string>
#include <string_view>

#include "tools/shared/text.h"

namespace vesk::shared {

// A text as a JSON string, on one line and in UTF-8 whatever its bytes are.
template <typename Writer>
void write_text(Writer &writer, std::string_view text) {
  std::string safe;
  append_safely(safe, text);
  writer.String(safe.data(), static_cast<rapidjson::SizeType>(safe.size()));
}

// One line on standard output.
inline void print_json(const rapidjson::StringBuffer &written) {
  std::printf("%s\n", written.GetString());
}

}  // namespace vesk::shared
