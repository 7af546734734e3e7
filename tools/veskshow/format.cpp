#include "tools/veskshow/format.h"

#include "tools/shared/text.h"

namespace vesk::veskshow {

void append_entry(std::string &out, const shown_entry &shown, const entry_style &style) {
  switch (style.format) {
    case output_format::short_full:
    case output_format::short_iso:
    case output_format::short_unix:
      return append_short(out, shown, style);
    case output_format::verbose:
      return append_verbose(out, shown, style);
    case output_format::json:
      return append_json(out, shown, style);
    case output_format::json_pretty:
      return append_pretty_json(out, shown, style);
    case output_format::journal_export:
      return append_export(out, shown, style);
    case output_format::cat:
      return append_text(out, shown);
    case output_format::hex:
      return append_dump(out, shown, style);
    case output_format::raw:
      out += shared::characters_of(shown.entry.data);
  }
}

}  // namespace vesk::veskshow
