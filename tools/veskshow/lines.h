// Entries as lines for people.
#pragma once

#include <string>
#include <string_view>

#include "tools/veskshow/format.h"

namespace vesk::veskshow {

// "2026-01-31 12:00:00.000001 kernel 510[1024]: text": the time, the log file, the sender and the
// object type, by name where they have one. The text as append_data() gives it, behind how sure a
// salvaged entry is: "(likely) text".
void append_short(std::string &out, const shown_entry &shown, const entry_style &style);

// The time and the cursor, and below it each field of fields.h indented on a line of its
// own, all of the data among them.
void append_verbose(std::string &out, const shown_entry &shown, const entry_style &style);

// The text alone with its line breaks, harmless to a terminal; or what append_data() gives for it.
void append_text(std::string &out, const shown_entry &shown);

// The line of append_short() without the data, and below it all the data as they are stored, in
// hexadecimal and as characters.
void append_dump(std::string &out, const shown_entry &shown, const entry_style &style);

// A line that does not come from any entry.
void append_remark(std::string &out, std::string_view remark, const entry_style &style);

}  // namespace vesk::veskshow
