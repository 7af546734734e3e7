#include "tests/unit/tools/veskshow/fields_in_json.h"

#include <rapidjson/document.h>

#include <stdexcept>

namespace vesk::test {

namespace {

std::string bytes_in(const rapidjson::Value &value) {
  if (value.IsString()) return {value.GetString(), value.GetStringLength()};
  if (!value.IsArray()) throw std::runtime_error("a value is neither a string nor bytes");
  std::string bytes;
  for (const auto &byte : value.GetArray()) bytes += static_cast<char>(byte.GetUint());
  return bytes;
}

}  // namespace

field_map fields_in(const std::string &json) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseValidateEncodingFlag>(json.data(), json.size());
  if (document.HasParseError() || !document.IsObject()) {
    throw std::runtime_error("no object: " + json);
  }
  field_map fields;
  for (rapidjson::SizeType i = 0; i < document.MemberCount(); ++i) {
    const auto &member = *(document.MemberBegin() + i);
    const std::string name(member.name.GetString(), member.name.GetStringLength());
    if (!fields.emplace(name, bytes_in(member.value)).second) {
      throw std::runtime_error(name + " comes twice");
    }
  }
  return fields;
}

}  // namespace vesk::test
