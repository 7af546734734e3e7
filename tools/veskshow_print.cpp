#include "tools/veskshow_print.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <optional>

#include "tools/veskshow_text.h"

namespace vesk {

namespace {

constexpr uint32_t usecs_per_second = 1'000'000;

void append_time(std::string &out, uint32_t secs, time_zone zone) {
  const time_t time = secs;
  struct tm parts;
  zone == time_zone::utc ? gmtime_r(&time, &parts) : localtime_r(&time, &parts);
  char buffer[32];
  out.append(buffer, std::strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S", &parts));
}

// The sender sets the microseconds. Where they are none, they must not pass for a fraction.
void append_usecs(std::string &out, uint32_t usecs) {
  char buffer[32];
  const char *format = usecs < usecs_per_second ? ".%06u" : "+%uus";
  out.append(buffer, static_cast<size_t>(std::snprintf(buffer, sizeof buffer, format, usecs)));
}

std::string time_of(const std::optional<ring_entry> &entry, time_zone zone) {
  std::string out;
  if (entry) append_time(out, entry->secs, zone);
  return entry ? out : "-";
}

// The list but for its last column, which is as wide as it needs to be.
void append_columns(std::string &out, const std::array<std::string, 8> &cells) {
  constexpr struct {
    size_t width;
    bool to_the_right;
  } columns[] = {{4, true}, {23, false}, {8, true},   {4, true},
                 {7, true}, {19, false}, {19, false}, {7, false}};
  for (size_t i = 0; i < cells.size(); ++i) {
    const size_t width = columns[i].width;
    const std::string blanks(width - std::min(width, cells[i].size()), ' ');
    out += columns[i].to_the_right ? blanks + cells[i] : cells[i] + blanks;
    out += "  ";
  }
}

}  // namespace

void append_entry(std::string &out, const ring_entry &entry, time_zone zone) {
  append_time(out, entry.secs, zone);
  append_usecs(out, entry.usecs);
  char buffer[32];
  out.append(buffer, static_cast<size_t>(std::snprintf(buffer, sizeof buffer, " %5u %5u %5zu",
                                                       entry.uuid, entry.type, entry.data.size())));
  if (!entry.data.empty()) out += "  ";
  append_data(out, entry.data);
  out += '\n';
}

void append_list_head(std::string &out) {
  append_columns(out, {"TYPE", "NAME", "SIZE", "FILL", "ENTRIES", "OLDEST", "NEWEST", "WRAPPED"});
  out += "STATE\n";
}

void append_list_row(std::string &out, const log_file &file, size_t size,
                     const ring_summary &summary, time_zone zone) {
  const auto &ring = summary.state;
  std::string name;
  append_safely(name, file.name);
  append_columns(out, {
                          file.row ? std::to_string(file.row->file_type()) : "-",
                          name,
                          std::to_string(size),
                          ring ? std::to_string(fill_percent(*ring)) + "%" : "-",
                          ring ? std::to_string(summary.entries) : "-",
                          time_of(summary.oldest, zone),
                          time_of(summary.newest, zone),
                          !ring             ? "-"
                          : ring->wrapped() ? "yes"
                                            : "no",
                      });
  out += summary.damage ? damage_text(*summary.damage) : "ok";
  out += '\n';
}

std::string damage_text(const ring_damage &damage) {
  return "offset " + std::to_string(damage.offset) + ": " + damage.reason;
}

}  // namespace vesk
