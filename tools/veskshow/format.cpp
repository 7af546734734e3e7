#include "tools/veskshow/format.h"

#include <iterator>

#include "tools/shared/text.h"

namespace vesk::veskshow {

namespace {

void append_raw(std::string &out, const shown_entry &shown, const entry_style &) {
  out += shared::characters_of(shown.entry.data);
}

}  // namespace

void append_entry(std::string &out, const shown_entry &shown, const entry_style &style) {
  constexpr decltype(&append_entry) in_order_of_formats[] = {
      append_short,       append_short,  append_short, append_verbose, append_json,
      append_pretty_json, append_export, append_text,  append_dump,    append_raw};
  static_assert(std::size(in_order_of_formats) == static_cast<size_t>(output_format::raw) + 1);
  in_order_of_formats[static_cast<size_t>(style.format)](out, shown, style);
}

}  // namespace vesk::veskshow
