#include <algorithm>
#include <cstdint>
#include <deque>
#include <limits>
#include <list>
#include <utility>

#include "reader/vesk_ring_merge.h"
#include "tools/veskshow/filter.h"
#include "tools/veskshow/jobs.h"

namespace vesk::veskshow {

namespace {

// Where an entry lies that is shown later: its image holds all the rest.
struct place {
  uint64_t set_back_usecs;
  uint32_t offset;
  uint32_t source;
};

class printer {
 public:
  printer(const request &asked, const std::vector<shared::log_file> &files, output &out)
      : asked_(asked), files_(files), out_(out) {}

  void show(const ring_entry &entry, size_t source) {
    append_entry(out_.text, entry_in(files_[source], entry), asked_.style);
    out_.flush_when_large();
  }

  void show_jump(uint64_t set_back_usecs) {
    if (set_back_usecs >= clock_jump_usecs) {
      append_clock_jump(out_.text, set_back_usecs, asked_.style);
    }
  }

 private:
  const request &asked_;
  const std::vector<shared::log_file> &files_;
  output &out_;
};

size_t show_all(ring_merge &merge, const entry_filter &filter, printer &print) {
  size_t matched = 0;
  while (auto merged = merge.next()) {
    if (!passes(filter, merged->entry)) continue;
    print.show_jump(merged->entry.set_back_usecs);
    print.show(merged->entry, merged->source);
    ++matched;
  }
  return matched;
}

struct newest {
  std::deque<place> places;
  size_t matched = 0;
};

newest find_newest(ring_merge &merge, const entry_filter &filter, size_t count) {
  newest found;
  while (auto merged = merge.next()) {
    if (!passes(filter, merged->entry)) continue;
    ++found.matched;
    found.places.push_back({merged->entry.set_back_usecs, merged->entry.offset,
                            static_cast<uint32_t>(merged->source)});
    if (found.places.size() > count) found.places.pop_front();
  }
  return found;
}

ring_entry entry_of(const place &where, const ring_merge &merge) {
  ring_entry entry = entry_at(merge.walks()[where.source].image, where.offset);
  entry.set_back_usecs = where.set_back_usecs;
  return entry;
}

// What lies between two entries lies between them the other way round too.
void show_places(std::deque<place> &places, bool reverse, const ring_merge &merge, printer &print) {
  if (reverse) std::reverse(places.begin(), places.end());
  for (const place &where : places) {
    if (!reverse) print.show_jump(where.set_back_usecs);
    print.show(entry_of(where, merge), where.source);
    if (reverse) print.show_jump(where.set_back_usecs);
  }
}

// Whether the walk ended before it had shown all entries that the file counts.
bool broke_off(const ring_walk &walk) {
  return walk.damage && walk.state && walk.damage->offset == walk.offset;
}

void report_damage(const std::vector<shared::log_file> &files, const std::vector<ring_walk> &walks,
                   bool quiet, output &out) {
  for (size_t i = 0; i < files.size(); ++i) {
    if (walks[i].damage) out.problem(files[i].path, shared::damage_text(*walks[i].damage));
  }
  if (!quiet && std::any_of(walks.begin(), walks.end(), broke_off)) {
    out.note("-- Entries behind damage are not shown; try --verify and --salvage --");
  }
}

}  // namespace

std::vector<shared::log_file> by_type(std::vector<shared::log_file> files) {
  const auto place = [](const auto &file) { return file.row ? type_of(file) : UINT32_MAX; };
  std::stable_sort(files.begin(), files.end(),
                   [&](const auto &a, const auto &b) { return place(a) < place(b); });
  return files;
}

size_t show_walks(const request &asked, const choice &chosen,
                  const std::vector<shared::log_file> &files, std::vector<ring_walk> &walks,
                  output &out) {
  printer print(asked, files, out);
  ring_merge merge(std::move(walks));
  size_t matched = 0;
  if (!chosen.last && !chosen.reverse) {
    matched = show_all(merge, asked.filter, print);
  } else {
    constexpr size_t all = std::numeric_limits<size_t>::max();
    newest found = find_newest(merge, asked.filter, chosen.last.value_or(all));
    show_places(found.places, chosen.reverse, merge, print);
    matched = found.matched;
  }
  walks = merge.walks();
  return matched;
}

void show_entries(const request &asked, output &out) {
  std::vector<shared::log_file> files;
  std::list<std::vector<uint8_t>> images;
  std::vector<ring_walk> walks;
  for (const shared::log_file &file : by_type(asked.files)) {
    std::vector<uint8_t> image;
    if (!read_image(file, image, out)) continue;
    files.push_back(file);
    images.push_back(std::move(image));
    walks.push_back(begin_walk(images.back(), shared::capacity_of(file)));
  }

  const choice chosen{asked.wanted.last, asked.wanted.reverse};
  const size_t matched = show_walks(asked, chosen, files, walks, out);
  report_damage(files, walks, asked.wanted.quiet, out);
  if (matched > 0) return;
  const bool nothing_matched = has_filter(asked.wanted);
  const bool says_so = nothing_matched ? !files.empty() : out.status == exit_fine;
  if (says_so && !asked.wanted.quiet) out.note("-- No entries --");
  if (nothing_matched) out.status = exit_problem;
}

}  // namespace vesk::veskshow
