#include <algorithm>

#include "tools/veskshow/fields.h"

namespace vesk::veskshow {

namespace {

// The log files do not say to which boot of the device an entry belongs. This identifier stands for
// all of them, and for no real one.
constexpr std::string_view boot_id = "5ef1c0de9d7a4b21b0c7365f1ae84d02";

bool has_control(std::string_view text) {
  return std::any_of(text.begin(), text.end(),
                     [](unsigned char c) { return c < 0x20 || c == 0x7F; });
}

void append_line(std::string &out, std::string_view name, std::string_view value) {
  out.append(name).append("=").append(value).append("\n");
}

// The form for any bytes: their count as 64 bits, little-endian, between the name and them.
void append_counted(std::string &out, std::string_view name, std::string_view value) {
  out.append(name).append("\n");
  for (unsigned shift = 0; shift < 64; shift += 8) {
    out += static_cast<char>(uint64_t{value.size()} >> shift);
  }
  out.append(value).append("\n");
}

void append_field(std::string &out, std::string_view name, std::string_view value) {
  has_control(value) ? append_counted(out, name, value) : append_line(out, name, value);
}

}  // namespace

void append_export(std::string &out, const shown_entry &shown, const entry_style &style) {
  const ring_entry &entry = shown.entry;
  constexpr uint64_t first_valid_stamp = 1;
  decimal text;
  const std::string_view stamp = text.of(std::max(stamp_of(entry), first_valid_stamp));
  out += "__CURSOR=";
  append_cursor(out, shown);
  out += '\n';
  append_line(out, "__REALTIME_TIMESTAMP", stamp);
  append_line(out, "__MONOTONIC_TIMESTAMP", stamp);
  append_line(out, "_BOOT_ID", boot_id);
  if (const auto message = message_of(entry)) {
    append_field(out, "MESSAGE", *message);
  } else {
    append_counted(out, "VESK_DATA", shared::characters_of(entry.data));
  }
  each_field(shown, style, [&out](std::string_view name, std::string_view value) {
    append_field(out, name, value);
  });
  out += '\n';
}

}  // namespace vesk::veskshow
