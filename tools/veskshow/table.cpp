#include "tools/veskshow/table.h"

#include <algorithm>

#include "tools/shared/text.h"
#include "tools/shared/time.h"

namespace vesk::veskshow {

namespace {

constexpr size_t gap = 2;

// How many characters a text in UTF-8 has: its bytes except those that continue a character.
size_t width_of(std::string_view text) {
  const auto begins_character = [](char c) { return (static_cast<uint8_t>(c) & 0xC0) != 0x80; };
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), begins_character));
}

void append_cell(std::string &line, std::string_view text, size_t width, alignment side) {
  const size_t blanks = width - width_of(text);
  if (side == alignment::right) line.append(blanks, ' ');
  line += text;
  if (side == alignment::left) line.append(blanks, ' ');
}

void end_line(std::string &out, std::string &line) {
  line.erase(line.find_last_not_of(' ') + 1);
  out.append(line).append("\n");
  line.clear();
}

}  // namespace

void table::append_to(std::string &out) const {
  std::vector<size_t> widths;
  for (size_t i = 0; i < columns_.size(); ++i) {
    size_t width = width_of(columns_[i].head);
    for (const auto &row : rows_) width = std::max(width, width_of(row[i]));
    widths.push_back(width);
  }

  std::string line;
  const auto append_row = [&](const auto &cell_of) {
    for (size_t i = 0; i < columns_.size(); ++i) {
      if (i > 0) line.append(gap, ' ');
      append_cell(line, cell_of(i), widths[i], columns_[i].side);
    }
    end_line(out, line);
  };
  append_row([&](size_t i) { return columns_[i].head; });
  for (const auto &row : rows_) append_row([&](size_t i) { return std::string_view(row[i]); });
}

std::string bytes_text(uint64_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

std::string sender_cell(uint16_t uuid, const name_table &names) {
  const std::string *name = find_name(names.uuids, uuid);
  return std::to_string(uuid) + (name ? " (" + shared::safely(*name) + ")" : "");
}

std::string time_cell(std::optional<uint32_t> secs, shared::time_zone zone) {
  if (!secs) return unknown_cell;
  std::string cell;
  shared::append_date_time(cell, *secs, zone);
  return cell;
}

}  // namespace vesk::veskshow
