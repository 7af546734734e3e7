#include "tools/veskshow/fields.h"

namespace vesk::veskshow {

void append_cursor(std::string &out, const shown_entry &shown) {
  const ring_entry &entry = shown.entry;
  out.append("o=").append(std::to_string(shown.base + entry.offset));
  out.append(";s=").append(std::to_string(entry.secs));
  out.append(";m=").append(std::to_string(entry.usecs));
  out.append(";u=").append(std::to_string(entry.uuid));
  out.append(";t=").append(std::to_string(entry.type));
  out.append(";f=");
  shared::append_safely(out, shown.file);
}

std::optional<std::string_view> message_of(const ring_entry &entry) {
  std::optional<std::string_view> text = shared::text_of(entry.data);
  if (text && text->ends_with('\n')) text->remove_suffix(1);
  return text;
}

}  // namespace vesk::veskshow
