// Tables of aligned columns, and what stands in them and in other reports.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/veskshow/names.h"
#include "tools/veskshow/options.h"

namespace vesk::veskshow {

enum class alignment : uint8_t { left, right };

struct column {
  std::string_view head;
  alignment side;
};

class table {
 public:
  explicit table(std::vector<column> columns) : columns_(std::move(columns)), rows_(1) {
    for (const column &each : columns_) rows_[0].emplace_back(each.head);
  }

  // As many cells as there are columns; they go to a terminal as they are.
  void add(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }

  // Appends the heads and the rows. A column is as wide as its widest cell, counted in characters,
  // and two blanks lie between columns; no line ends with blanks.
  void append_to(std::string &out) const;

 private:
  std::vector<column> columns_;
  std::vector<std::vector<std::string>> rows_;  // the heads come first
};

// What stands in a cell where nothing is known.
inline constexpr char unknown_cell[] = "-";

// "1 byte", "84 bytes".
[[nodiscard]] std::string bytes_text(uint64_t count);

// "510", or "510 (kernel)" where the number has a name.
[[nodiscard]] std::string sender_cell(uint16_t uuid, const name_table &names);

// "2026-01-31 12:00:00", or "-".
[[nodiscard]] std::string time_cell(std::optional<uint32_t> secs, shared::time_zone zone);

}  // namespace vesk::veskshow
