#include "tools/veskshow/fields.h"

#include "tools/shared/text.h"

namespace vesk::veskshow {

void append_cursor(std::string &out, const shown_entry &shown) {
  const ring_entry &entry = shown.entry;
  out.append("o=").append(decimal(shown.base + entry.offset));
  out.append(";s=").append(decimal(entry.secs));
  out.append(";m=").append(decimal(entry.usecs));
  out.append(";u=").append(decimal(entry.uuid));
  out.append(";t=").append(decimal(entry.type));
  out.append(";f=");
  shared::append_safely(out, shown.file);
}

std::optional<std::string_view> message_of(const ring_entry &entry) {
  std::optional<std::string_view> text = shared::text_of(entry.data);
  if (text && text->ends_with('\n')) text->remove_suffix(1);
  return text;
}

const std::string *find_name(const std::map<uint16_t, std::string> &names, uint16_t number) {
  const auto found = names.find(number);
  return found == names.end() ? nullptr : &found->second;
}

safe_text::safe_text(std::string_view text) : text_(text) {
  if (shared::is_printable(text)) return;
  shared::append_safely(cleaned_, text);
  text_ = cleaned_;
}

}  // namespace vesk::veskshow
