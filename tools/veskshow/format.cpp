#include "tools/veskshow/format.h"

#include "tools/shared/text.h"
#include "tools/shared/time.h"
#include "tools/veskshow/export.h"
#include "tools/veskshow/json.h"
#include "tools/veskshow/lines.h"

namespace vesk::veskshow {

namespace {

bool has_remarks(output_format format) {
  switch (format) {
    case output_format::short_full:
    case output_format::short_iso:
    case output_format::short_unix:
    case output_format::verbose:
    case output_format::hex:
      return true;
    default:
      return false;
  }
}

}  // namespace

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

void append_clock_jump(std::string &out, uint64_t usecs, const entry_style &style) {
  if (!has_remarks(style.format)) return;
  append_remark(out, "the clock was set back by " + shared::duration_text(usecs), style);
}

}  // namespace vesk::veskshow
