// --stats: who wrote how much, and how long entries live.
#include <string>
#include <vector>

#include "reader/vesk_ring_turnover.h"
#include "reader/vesk_sender_totals.h"
#include "tools/shared/text.h"
#include "tools/shared/time.h"
#include "tools/veskshow/filter.h"
#include "tools/veskshow/jobs.h"
#include "tools/veskshow/table.h"

namespace vesk::veskshow {

namespace {

constexpr char senders_heading[] =
    "Senders. BYTES count headers and padding; RATE is that from the FIRST entry to the LAST.\n\n";

constexpr char files_heading[] =
    "Files, all entries. BYTES/DAY is the present rate: that of the newest quarter of a file's\n"
    "entries, or of its last 24 hours where these hold more. At that rate, an entry is "
    "overwritten\n"
    "after the time of TURNOVER, and a file begins to give up old entries when it is FULL.\n\n";

struct file_turnover {
  const shared::log_file *file;
  ring_turnover turnover;
};

// --- cells ---

std::string share_cell(uint64_t bytes, uint64_t all) {
  if (all == 0) return unknown_cell;
  return shared::formatted("%.1f%%", static_cast<double>(bytes) * 100 / static_cast<double>(all));
}

// By the hour, or by the day where an hour has less than one entry.
std::string rate_cell(const sender_totals &totals) {
  const auto per_hour = entries_per_hour(totals);
  if (!per_hour) return unknown_cell;
  if (*per_hour >= 1) return shared::formatted("%.1f/h", *per_hour);
  const double per_day = *per_hour * 24;
  return per_day < 0.1 ? "<0.1/d" : shared::formatted("%.1f/d", per_day);
}

std::string bytes_per_day_cell(const std::optional<write_rate> &rate) {
  constexpr double usecs_per_day = 86.4e9;
  if (!rate) return unknown_cell;
  const double per_day =
      static_cast<double>(rate->bytes) * usecs_per_day / static_cast<double>(rate->usecs);
  return shared::formatted(per_day < 10 ? "%.1f" : "%.0f", per_day);
}

std::string duration_cell(const std::optional<uint64_t> &usecs) {
  return usecs ? shared::duration_text(*usecs) : unknown_cell;
}

// Nothing where no time stamp could say it.
std::optional<uint32_t> secs_of(uint64_t usecs) {
  const uint64_t secs = usecs / 1'000'000;
  return secs <= UINT32_MAX ? std::optional(static_cast<uint32_t>(secs)) : std::nullopt;
}

std::string full_cell(const ring_turnover &turnover, shared::time_zone zone) {
  if (turnover.state && has_been_full(*turnover.state)) return "now";
  return turnover.full_at ? time_cell(secs_of(*turnover.full_at), zone) : unknown_cell;
}

// --- tables ---

std::vector<std::string> sender_row(std::string sender, const sender_totals &totals,
                                    uint64_t all_bytes, shared::time_zone zone) {
  const bool any = totals.entries > 0;
  return {
      std::move(sender),
      std::to_string(totals.entries),
      std::to_string(totals.bytes),
      share_cell(totals.bytes, all_bytes),
      rate_cell(totals),
      any ? time_cell(secs_of(totals.first), zone) : unknown_cell,
      any ? time_cell(secs_of(totals.last), zone) : unknown_cell,
  };
}

void append_senders(std::string &out, const sender_count &count, const entry_style &style) {
  using enum alignment;
  table senders({{"SENDER", left},
                 {"ENTRIES", right},
                 {"BYTES", right},
                 {"SHARE", right},
                 {"RATE", right},
                 {"FIRST", left},
                 {"LAST", left}});
  const sender_totals all = count.all();
  for (const auto &[uuid, totals] : count.by_bytes()) {
    senders.add(sender_row(sender_cell(uuid, *style.names), totals, all.bytes, style.zone));
  }
  senders.add(sender_row("all", all, all.bytes, style.zone));
  out += senders_heading;
  senders.append_to(out);
}

std::vector<std::string> file_row(const shared::log_file &file, const ring_turnover &turnover,
                                  shared::time_zone zone) {
  return {
      shared::safely(file.name),
      turnover.oldest ? time_cell(secs_of(*turnover.oldest), zone) : unknown_cell,
      duration_cell(turnover.span),
      bytes_per_day_cell(turnover.rate),
      duration_cell(turnover.life),
      full_cell(turnover, zone),
  };
}

void append_files(std::string &out, const std::vector<file_turnover> &files,
                  shared::time_zone zone) {
  using enum alignment;
  table turnovers({{"FILE", left},
                   {"OLDEST", left},
                   {"SPAN", right},
                   {"BYTES/DAY", right},
                   {"TURNOVER", right},
                   {"FULL", left}});
  for (const auto &[file, turnover] : files) turnovers.add(file_row(*file, turnover, zone));
  out += files_heading;
  turnovers.append_to(out);
}

// --- reading ---

void count_senders(const shared::log_file &file, ring_bytes image, const entry_filter &filter,
                   sender_count &count) {
  count.begin_ring();
  ring_walk walk = begin_walk(image, shared::capacity_of(file));
  while (const auto entry = next_entry(walk)) {
    if (passes(filter, *entry)) count.add(*entry);
  }
}

std::vector<file_turnover> look_at_all(const request &asked, sender_count &count, output &out) {
  std::vector<file_turnover> files;
  std::vector<uint8_t> image;
  for (const shared::log_file &file : asked.files) {
    if (!read_image(file, image, out)) continue;
    count_senders(file, image, asked.filter, count);
    files.push_back({&file, turnover_of(image, shared::capacity_of(file))});
  }
  return files;
}

}  // namespace

void show_statistics(const request &asked, output &out) {
  sender_count count;
  const std::vector<file_turnover> files = look_at_all(asked, count, out);
  if (files.empty()) return;
  append_senders(out.text, count, asked.style);
  out.text += '\n';
  append_files(out.text, files, asked.style.zone);

  for (const auto &[file, turnover] : files) {
    if (turnover.damage) out.problem(file->path, shared::damage_text(*turnover.damage));
  }
  if (count.all().entries == 0 && has_filter(asked.wanted)) out.status = exit_problem;
}

}  // namespace vesk::veskshow
