// Any bytes as a log file that is only read: the walk over the ring, the search for entries, and
// what is predicted of a start. Where a promise is broken, it is named and the process aborts.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <span>
#include <vector>

#include "forecast/vesk_forecast.h"
#include "format/vesk_catalogue.h"
#include "reader/vesk_ring_summary.h"
#include "reader/vesk_ring_walk.h"
#include "reader/vesk_salvage.h"
#include "tests/support/header_bytes.h"
#include "tests/support/recorder.h"

namespace vesk::test {
namespace {

void promise(bool kept, const char *text) {
  if (kept) return;
  std::fprintf(stderr, "broken: %s\n", text);
  std::abort();
}

struct input {
  const vesk_catalogue_row *row;  // null: the catalogue does not know the file
  bool repairs_ended;
  ring_bytes file;

  uint32_t capacity() const { return row ? row->max_size : unknown_capacity; }
};

// The first byte says which file of the catalogue it is, and whether a file before it ends the
// repairs.
input input_of(std::span<const uint8_t> bytes) {
  const size_t first = bytes.empty() ? 0 : bytes[0];
  const size_t row = first % (vesk_file_catalogue.size() + 1);
  return {row < vesk_file_catalogue.size() ? &vesk_file_catalogue[row] : nullptr, first >= 128,
          bytes.empty() ? bytes : bytes.subspan(1)};
}

// --- the walk ---

using entries_by_offset = std::map<uint64_t, ring_entry>;

void hold_against_the_file(const ring_entry &entry, uint64_t offset, ring_bytes file) {
  promise(entry.data.data() == file.data() + offset + header_size, "data lie behind their header");
  promise(offset + header_size + entry.data.size() <= file.size(), "data lie in the file");
  promise(entry.uuid == get16(file, static_cast<uint32_t>(offset)), "the uuid is the stored one");
}

entries_by_offset walk_over(const input &in, null_entries nulls) {
  entries_by_offset found;
  uint64_t last_end = 0;
  int wraps = 0;
  ring_walk walk = begin_walk(in.file, in.capacity(), nulls);
  while (const auto entry = next_entry(walk)) {
    hold_against_the_file(*entry, entry->offset, in.file);
    if (entry->offset < last_end) ++wraps;
    last_end = entry->offset + uint64_t{header_size} + entry->data.size();
    promise(wraps < 2, "a walk wraps once");
    promise(found.emplace(entry->offset, *entry).second, "a walk comes to no entry twice");
  }
  promise(!next_entry(walk), "a walk that has ended stays ended");
  return found;
}

void expect_same(const ring_summary &summary, const entries_by_offset &chain) {
  promise(summary.entries == chain.size(), "a summary counts what the walk comes to");
  promise(summary.oldest.has_value() == !chain.empty(), "a summary names an oldest entry");
  if (!summary.oldest) return;
  promise(chain.contains(summary.oldest->offset), "the oldest entry is one of the chain");
  promise(chain.contains(summary.newest->offset), "the newest entry is one of the chain");
}

// --- the search ---

void expect_likely(const salvaged_entry &found, ring_bytes file) {
  const bool holds = sum_holds(file.data() + found.offset);
  if (found.level == certainty::rewritten) {
    promise(!holds, "a rewritten entry is one whose checksum does not hold");
  } else if (found.level != certainty::doubtful) {
    promise(holds, "an entry is sure, or likely, by its checksum");
  }
  promise(found.level == certainty::doubtful || found.whole(), "what is not doubtful is whole");
}

std::vector<salvaged_entry> search_through(salvage search) {
  std::vector<salvaged_entry> entries;
  uint64_t last = 0;
  while (const auto found = search.next()) {
    const auto *entry = std::get_if<salvaged_entry>(&*found);
    if (!entry) continue;
    promise(
        entries.empty() || entry->offset >= last + header_size || entry->level == certainty::chain,
        "headers share no bytes");
    last = entry->offset;
    entries.push_back(*entry);
  }
  promise(!search.next(), "a search that has ended stays ended");
  return entries;
}

void expect_no_overlap(const std::vector<salvaged_entry> &entries) {
  uint64_t end = 0;
  certainty last_level = certainty::doubtful;
  for (const salvaged_entry &found : entries) {
    if (found.level == certainty::doubtful) continue;
    const bool may_overlap = found.level == certainty::chain && last_level == certainty::chain;
    promise(found.offset >= end || may_overlap, "no two that are not doubtful share bytes");
    end = std::max(end, found.offset + header_size + found.size);
    last_level = found.level;
  }
}

void expect_chain(const std::vector<salvaged_entry> &entries, const entries_by_offset &chain) {
  size_t in_chain = 0;
  for (const salvaged_entry &found : entries) {
    if (found.level != certainty::chain) continue;
    promise(chain.contains(found.offset), "an entry of the chain is one that the walk comes to");
    ++in_chain;
  }
  promise(in_chain == chain.size(), "a search finds every entry that the walk comes to");
}

// The same bytes behind a descriptor, of which nothing is known.
void expect_same_in_pieces(const std::vector<salvaged_entry> &entries, ring_bytes file) {
  const int fd = memfd_create("reader_fuzz", MFD_CLOEXEC);
  if (fd < 0 || write(fd, file.data(), file.size()) != static_cast<ssize_t>(file.size())) {
    std::abort();
  }
  salvage search(fd, file.size());
  size_t i = 0;
  while (const auto next = search.next()) {
    const auto *found = std::get_if<salvaged_entry>(&*next);
    if (!found) continue;
    promise(i < entries.size() && found->offset == entries[i].offset &&
                found->level == entries[i].level &&
                std::equal(found->entry.data.begin(), found->entry.data.end(),
                           entries[i].entry.data.begin(), entries[i].entry.data.end()),
            "a search in pieces finds what one in memory finds");
    ++i;
  }
  promise(i == entries.size(), "a search in pieces finds all that one in memory finds");
  close(fd);
}

void expect_sound_search(const input &in, const entries_by_offset &chain) {
  const std::vector<salvaged_entry> entries = search_through(salvage(in.file, in.capacity()));
  for (const salvaged_entry &found : entries) {
    hold_against_the_file(found.entry, found.offset, in.file);
    expect_likely(found, in.file);
  }
  expect_no_overlap(entries);
  expect_chain(entries, chain);
  if (!salvage(in.file, in.capacity()).ring()) expect_same_in_pieces(entries, in.file);
}

// --- what is predicted ---

// What only senders and the daemon write, as the search understands it.
bool is_usual(ring_bytes file, uint32_t at) {
  const uint16_t uuid = get16(file, at);
  return at % 4 == 0 && uuid >= 1 && uuid <= 2736 && get16(file, at + 2) >= 1024 &&
         get16(file, at + 4) % 4 == 0 && file[at + 9] == 0;
}

bool differs_only_by_a_rewrite(ring_bytes before, ring_bytes after, uint32_t at, uint32_t end) {
  if (after.size() < end) return false;
  for (uint32_t i = at; i < end; ++i) {
    const uint32_t in_header = i - at;
    const bool rewritten = in_header == 6 || in_header == 7 || in_header == 10 || in_header == 11;
    if (before[i] != after[i] && !rewritten) return false;
  }
  return true;
}

// Where the headers of entries and global headers are.
std::vector<uint64_t> headers_found(salvage search) {
  std::vector<uint64_t> offsets;
  while (const auto found = search.next()) {
    if (const auto *entry = std::get_if<salvaged_entry>(&*found)) offsets.push_back(entry->offset);
    if (const auto *ring = std::get_if<salvaged_gheader>(&*found)) offsets.push_back(ring->offset);
  }
  return offsets;
}

// Every entry that could be read before and was appended is found in the rebuilt file, or a header
// that shares bytes with its own, unless a null entry covers some of it.
void expect_found_after_repair(const input &in, const entries_by_offset &chain,
                               const std::vector<uint8_t> &rebuilt) {
  const std::vector<uint64_t> headers = headers_found(salvage(rebuilt, in.capacity()));
  for (const auto &[offset, entry] : chain) {
    const auto at = static_cast<uint32_t>(offset);
    const uint32_t end = at + header_size + static_cast<uint32_t>(entry.data.size());
    if (!is_usual(in.file, at) || entry.prev_size != 0 ||
        !differs_only_by_a_rewrite(in.file, rebuilt, at, end) || rebuilt[at + 11] % 4 != 0) {
      continue;
    }
    const auto nearest = std::find_if(headers.begin(), headers.end(), [at](const uint64_t header) {
      return header + header_size > at;
    });
    promise(nearest != headers.end() && *nearest < at + header_size,
            "a search finds what a repair has rewritten");
  }
}

void expect_sound_forecast(const input &in, const entries_by_offset &chain) {
  file_forecast predicted;
  const failure why = forecast(in.row->file_type(), in.file, in.repairs_ended, predicted);
  promise(!why, "a forecast has its copy in memory");
  promise(predicted.readable_before == chain.size(), "a forecast counts what can be read");
  promise((predicted.fate == file_fate::keep) == !predicted.objection,
          "a forecast gives a reason for what is not kept");
  promise(!predicted.repair_failure || predicted.fate == file_fate::remove,
          "a repair fails only where the file is removed");
  promise(predicted.fate != file_fate::stay_marked || in.repairs_ended || predicted.ends_repairs,
          "a file stays marked only where the repairs end");
  if (predicted.fate != file_fate::rebuild) return;

  promise(predicted.state.max == in.row->max_size, "a rebuilt file has its type's capacity");
  promise(
      predicted.state.start <= predicted.state.max && predicted.state.end <= predicted.state.max,
      "a rebuilt ring lies in its capacity");
  const ring_summary after = summarize(predicted.rebuilt, in.row->max_size);
  promise(after.entries == predicted.readable_after, "a forecast counts what can be read later");
  expect_found_after_repair(in, chain, predicted.rebuilt);
}

void read_in_every_way(const input &in) {
  const entries_by_offset chain = walk_over(in, null_entries::skip);
  promise(walk_over(in, null_entries::show).size() >= chain.size(), "null entries come on top");
  expect_same(summarize(in.file, in.capacity()), chain);
  expect_sound_search(in, chain);
  if (in.row) expect_sound_forecast(in, chain);
}

}  // namespace
}  // namespace vesk::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  vesk::test::platform.forget();
  vesk::test::read_in_every_way(vesk::test::input_of({data, size}));
  return 0;
}
