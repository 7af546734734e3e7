#include "tools/veskshow/fields.h"

namespace vesk::veskshow {

void append_cursor(std::string &out, const shown_entry &shown) {
  const ring_entry &entry = shown.entry;
  decimal text;
  out.append("o=").append(text.of(shown.base + entry.offset));
  out.append(";s=").append(text.of(entry.secs));
  out.append(";m=").append(text.of(entry.usecs));
  out.append(";u=").append(text.of(entry.uuid));
  out.append(";t=").append(text.of(entry.type));
  out.append(";f=");
  shared::append_safely(out, shown.file);
}

std::optional<std::string_view> message_of(const ring_entry &entry) {
  std::optional<std::string_view> text = shared::text_of(entry.data);
  if (text && text->ends_with('\n')) text->remove_suffix(1);
  return text;
}

}  // namespace vesk::veskshow
