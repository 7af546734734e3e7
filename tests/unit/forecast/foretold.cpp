#include "tests/unit/forecast/foretold.h"

namespace vesk::test {

ring_bytes bytes_of(const std::string &file) {
  return {reinterpret_cast<const uint8_t *>(file.data()), file.size()};
}

std::string fate_of(uint32_t file_type, const std::string &file, bool repairs_ended) {
  const file_forecast foretold = forecast(file_type, bytes_of(file), repairs_ended);
  std::string text(fate_name(foretold.fate));
  if (!foretold.reason.empty()) {
    text += ", " + std::to_string(foretold.offset) + ": " + foretold.reason;
  }
  if (!foretold.repair_failure.empty()) text += "; repair fails: " + foretold.repair_failure;
  if (foretold.ends_repairs) text += "; repairs end";
  return text;
}

std::string rebuild_of(uint32_t file_type, const std::string &file) {
  const file_forecast foretold = forecast(file_type, bytes_of(file), false);
  if (foretold.fate != file_fate::rebuild) return fate_of(file_type, file);
  return "start " + std::to_string(foretold.state.start) + " end " +
         std::to_string(foretold.state.end) + ", " + std::to_string(foretold.nulls_added) +
         " null, " + std::to_string(foretold.headers_rewritten) + " rewritten, " +
         std::to_string(foretold.readable_before) + " readable then " +
         std::to_string(foretold.readable_after);
}

}  // namespace vesk::test
