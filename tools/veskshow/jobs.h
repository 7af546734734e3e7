// What veskshow can do with files; each job is one file of that name. A job shows what it can of
// every file, reports the others with output::problem(), and goes on.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "tools/shared/files.h"
#include "tools/veskshow/format.h"
#include "tools/veskshow/options.h"
#include "tools/veskshow/output.h"

namespace vesk::veskshow {

struct entry_filter;

// Everything that a job needs to know; outlives it.
struct request {
  const options &wanted;
  const std::vector<shared::log_file> &files;
  const entry_filter &filter;
  const entry_style &style;
};

void show_entries(const request &asked, output &out);    // all files merged by time; -n, -r
void follow_entries(const request &asked, output &out);  // the same, and then what is added: -f
void show_list(const request &asked, output &out);
void show_headers(const request &asked, output &out);
void show_fates(const request &asked, output &out);
void show_maps(const request &asked, output &out);
void show_salvage(const request &asked, output &out);
void show_statistics(const request &asked, output &out);
void show_preserved(const request &asked, output &out);

// --- what the jobs share ---

// Reads a file whole. False after it was reported that it cannot be read.
[[nodiscard]] bool read_image(const shared::log_file &file, std::vector<uint8_t> &ret_image,
                              output &out);

// The entry as one of this file, which has to outlive it.
[[nodiscard]] shown_entry entry_in(const shared::log_file &file, const ring_entry &entry);

// The files in the order of their types; those that the catalogue does not know come behind.
[[nodiscard]] std::vector<shared::log_file> by_type(std::vector<shared::log_file> files);

struct choice {
  std::optional<size_t> last;  // this many at most, the newest of those that the filter lets pass
  bool reverse = false;        // the newest first
};

// Shows the entries that the walks yield, one walk for each file, in the order of time. Where a
// file's clock was set back, a line says so between the two entries. Returns how many entries the
// filter let pass, shown or not. The walks have ended then, and have their damage.
size_t show_walks(const request &asked, const choice &chosen,
                  const std::vector<shared::log_file> &files, std::vector<ring_walk> &walks,
                  output &out);

}  // namespace vesk::veskshow
