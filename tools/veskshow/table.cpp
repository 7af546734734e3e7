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

}  // namespace

void table::append_to(std::string &out) const {
  std::vector<size_t> widths(columns_.size());
  for (const auto &row : rows_) {
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], width_of(row[i]));
  }
  for (const auto &row : rows_) {
    for (size_t i = 0; i < row.size(); ++i) {
      if (i > 0) out.append(gap, ' ');
      append_cell(out, row[i], widths[i], columns_[i].side);
    }
    out.erase(out.find_last_not_of(' ') + 1);
    out += '\n';
  }
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
