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

// What stands between entries where the time stamps step back by `usecs` although the ring's order
// goes on: a line of its own in the forms that are read by people, nothing in the others, which say
// it in the entry.
void append_clock_jump(std::string &out, uint64_t usecs, const entry_style &style);

}  // namespace vesk::veskshow
