// The forms in which an entry is shown.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "reader/vesk_ring_walk.h"
#include "tools/veskshow/names.h"
#include "tools/veskshow/options.h"

namespace vesk::veskshow {

// How entries are shown; the same for all of a run.
struct entry_style {
  output_format format = output_format::short_full;
  shared::time_zone zone = shared::time_zone::local;
  const name_table *names = nullptr;  // never null once the command line is read
  bool color = false;
};

// One entry and where it comes from.
struct shown_entry {
  ring_entry entry;
  std::string_view file;       // its log file's name as the catalogue has it, else its path
  uint32_t file_type = 0;      // 0 where the catalogue does not know the file
  std::string_view certainty;  // how sure a salvaged entry is; empty for one of the chain
  uint64_t base = 0;           // where in what is larger than 4 GiB entry.offset counts from
};

// Appends the entry in the style's form: a line or a record, ended as its form has it.
void append_entry(std::string &out, const shown_entry &shown, const entry_style &style);

// --- the forms ---

// "2026-01-31 12:00:00.000001 kernel 510[1024]: text": the time, the log file, the sender and the
// object type, by name where they have one. The text as append_data() gives it, behind how sure a
// salvaged entry is: "(likely) text".
void append_short(std::string &out, const shown_entry &shown, const entry_style &style);

// The time and the cursor, and below it each field of fields.h indented on a line of its own, all
// of the data among them.
void append_verbose(std::string &out, const shown_entry &shown, const entry_style &style);

// The text alone with its line breaks, harmless to a terminal; or what append_data() gives for it.
void append_text(std::string &out, const shown_entry &shown, const entry_style &style);

// The line of append_short() without the data, and below it all the data as they are stored, in
// hexadecimal and as characters.
void append_dump(std::string &out, const shown_entry &shown, const entry_style &style);

// One object on a line of its own, with the fields of fields.h. All values are strings.
void append_json(std::string &out, const shown_entry &shown, const entry_style &style);

// The same object, each field on a line of its own.
void append_pretty_json(std::string &out, const shown_entry &shown, const entry_style &style);

// In the export format of the system journal: the fields of fields.h, and those without which
// nothing can be imported: all entries claim to be of one boot, whose monotonic clock shows the
// microseconds since 1970. An empty line ends the entry.
void append_export(std::string &out, const shown_entry &shown, const entry_style &style);

// What stands between entries where the time stamps step back by `usecs` although the ring's order
// goes on: a line of its own in the forms that are read by people, nothing in the others, which say
// it in the entry.
void append_clock_jump(std::string &out, uint64_t usecs, const entry_style &style);

}  // namespace vesk::veskshow
