// Entries as JSON.
#pragma once

#include <string>

#include "tools/veskshow/format.h"

namespace vesk::veskshow {

// One object on a line of its own, with the fields of fields.h. All values are strings.
void append_json(std::string &out, const shown_entry &shown, const entry_style &style);

// The same object, each field on a line of its own.
void append_pretty_json(std::string &out, const shown_entry &shown, const entry_style &style);

}  // namespace vesk::veskshow
