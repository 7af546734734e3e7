#include <rapidjson/prettywriter.h>
#include <sodium.h>

#include "tools/shared/json.h"
#include "tools/veskshow/fields.h"

namespace vesk::veskshow {

namespace {

template <typename Writer>
void write(Writer &writer, std::string_view name, std::string_view value) {
  writer.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
  shared::write_string(writer, value);
}

void store_base64(std::string &out, ring_bytes data) {
  constexpr int variant = sodium_base64_VARIANT_ORIGINAL;
  out.resize(sodium_base64_encoded_len(data.size(), variant));
  sodium_bin2base64(out.data(), out.size(), data.data(), data.size(), variant);
  out.pop_back();  // the terminator
}

template <typename Writer>
void append_object(std::string &out, const shown_entry &shown, const entry_style &style) {
  // What this takes in memory is kept for the next one.
  thread_local rapidjson::StringBuffer written;
  thread_local Writer writer(written);
  thread_local std::string value;
  written.Clear();
  writer.Reset(written);

  writer.StartObject();
  value.clear();
  append_cursor(value, shown);
  write(writer, "__CURSOR", value);
  write(writer, "__REALTIME_TIMESTAMP", decimal().of(stamp_of(shown.entry)));
  if (const auto message = message_of(shown.entry)) {
    write(writer, "MESSAGE", *message);
  } else {
    store_base64(value, shown.entry.data);
    write(writer, "VESK_DATA_BASE64", value);
  }
  each_field(shown, style,
             [](std::string_view name, std::string_view text) { write(writer, name, text); });
  writer.EndObject();
  out.append(written.GetString(), written.GetSize()).append("\n");
}

}  // namespace

void append_json(std::string &out, const shown_entry &shown, const entry_style &style) {
  append_object<rapidjson::Writer<rapidjson::StringBuffer>>(out, shown, style);
}

void append_pretty_json(std::string &out, const shown_entry &shown, const entry_style &style) {
  append_object<rapidjson::PrettyWriter<rapidjson::StringBuffer>>(out, shown, style);
}

}  // namespace vesk::veskshow
