// Entries in the export format of the system journal.
#pragma once

#include <string>

#include "tools/veskshow/format.h"

namespace vesk::veskshow {

// The fields of fields.h, and those without which nothing can be imported: all entries
// claim to be of one boot, whose monotonic clock shows the microseconds since 1970. An empty line
// ends the entry.
void append_export(std::string &out, const shown_entry &shown, const entry_style &style);

}  // namespace vesk::veskshow
