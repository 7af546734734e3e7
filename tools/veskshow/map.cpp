// --map: a ring as a picture in characters.
#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

#include "reader/vesk_ring_map.h"
#include "tools/shared/text.h"
#include "tools/veskshow/jobs.h"
#include "tools/veskshow/table.h"

namespace vesk::veskshow {

namespace {

constexpr size_t rows_at_most = 8;
constexpr size_t cells_step = 8;
constexpr size_t gap = 2;  // between an offset and its row

// How a cell is drawn; the colour is the parameter of a control sequence.
struct mark {
  char character;
  std::string_view color;
};

constexpr mark start_mark = {'[', "1;33"};
constexpr mark end_mark = {']', "1;33"};
constexpr mark start_and_end_mark = {'|', "1;33"};

constexpr mark mark_of(ring_part part) {
  constexpr mark in_order_of_parts[] = {{'h', "36"}, {'.', ""},   {'~', "2"},   {'?', "35"},
                                        {'o', "34"}, {'#', "32"}, {'!', "1;31"}};
  static_assert(std::size(in_order_of_parts) == static_cast<size_t>(ring_part::damage) + 1);
  return in_order_of_parts[static_cast<size_t>(part)];
}

// --- how it fits ---

// How a map fits a terminal: each character is so many bytes, a power of two, so that a ring takes
// at most eight rows.
struct map_scale {
  uint32_t bytes_per_cell;
  size_t cells_per_row;  // a multiple of eight
  size_t offset_width;   // of the offset before each row
};

map_scale scale_of(uint32_t capacity, size_t columns) {
  const size_t offset_width = std::to_string(capacity).size();
  const size_t edge = offset_width + gap;
  const size_t room = columns > edge ? columns - edge : 0;
  const size_t cells_per_row = std::max(cells_step, room / cells_step * cells_step);
  uint32_t bytes_per_cell = VESK_DAMAGE_STEP;
  while (uint64_t{bytes_per_cell} * cells_per_row * rows_at_most < capacity) bytes_per_cell *= 2;
  return {bytes_per_cell, cells_per_row, offset_width};
}

// --- the picture ---

// Where the ring starts and ends stands over all parts except damage.
std::vector<mark> marks_of(const ring_map &map, uint32_t bytes_per_cell) {
  const std::vector<ring_part> cells = cells_of(map, bytes_per_cell);
  std::vector<mark> marks;
  for (const ring_part part : cells) marks.push_back(mark_of(part));

  const size_t start = map.state->start / bytes_per_cell;
  // An end at the capacity is just behind the last cell.
  const size_t end = std::min<size_t>(map.state->end / bytes_per_cell, marks.size() - 1);
  const auto put = [&](size_t cell, const mark &what) {
    if (cells[cell] != ring_part::damage) marks[cell] = what;
  };
  put(start, start == end ? start_and_end_mark : start_mark);
  if (start != end) put(end, end_mark);
  return marks;
}

void append_color(std::string &out, std::string_view color) {
  out.append("\033[").append(color).append("m");
}

// Marks of one colour in a row get one control sequence.
void append_marks(std::string &out, const mark *begin, const mark *end, bool color) {
  std::string_view current;
  for (const mark *m = begin; m != end; ++m) {
    if (color && m->color != current) {
      if (!current.empty()) append_color(out, "0");
      if (!m->color.empty()) append_color(out, m->color);
      current = m->color;
    }
    out += m->character;
  }
  if (!current.empty()) append_color(out, "0");
}

void append_rows(std::string &out, const std::vector<mark> &marks, const map_scale &scale,
                 bool color) {
  for (size_t i = 0; i < marks.size(); i += scale.cells_per_row) {
    const std::string offset = std::to_string(uint64_t{i} * scale.bytes_per_cell);
    out.append(scale.offset_width - offset.size(), ' ').append(offset).append(gap, ' ');
    const size_t count = std::min(scale.cells_per_row, marks.size() - i);
    append_marks(out, marks.data() + i, marks.data() + i + count, color);
    out += '\n';
  }
}

// --- what it adds up to ---

std::string entries_text(const part_total &total) {
  return " in " + std::to_string(total.stretches) + (total.stretches == 1 ? " entry" : " entries");
}

void append_totals(std::string &out, const ring_map &map) {
  const auto total = [&](ring_part part) { return total_of(map, part); };
  const auto live = total(ring_part::live), null = total(ring_part::null);
  const auto damage = total(ring_part::damage), not_reached = total(ring_part::not_reached);
  out += "live: " + bytes_text(live.bytes) + entries_text(live);
  out += "; null: " + bytes_text(null.bytes) + entries_text(null);
  out += "; stale: " + bytes_text(total(ring_part::stale).bytes);
  out += "; free: " + bytes_text(total(ring_part::free).bytes);
  if (damage.bytes > 0) out += "; damage: " + bytes_text(damage.bytes);
  if (not_reached.bytes > 0) out += "; not reached: " + bytes_text(not_reached.bytes);
  out += '\n';
}

// What the characters mean.
void append_legend(std::string &out, bool color) {
  const auto append = [&](const mark &what, const char *meaning) {
    append_marks(out, &what, &what + 1, color);
    out.append(" ").append(meaning);
  };
  append(mark_of(ring_part::live), "live entries   ");
  append(mark_of(ring_part::null), "null entries   ");
  append(mark_of(ring_part::damage), "damage   ");
  append(mark_of(ring_part::not_reached), "not reached   ");
  append(mark_of(ring_part::header), "global header\n");
  append(mark_of(ring_part::stale), "stale: written, not live   ");
  append(mark_of(ring_part::free), "free: never written   ");
  append(start_mark, "start   ");
  append(end_mark, "end   ");
  append(start_and_end_mark, "both\n");
}

// --- the job ---

void append_heading(std::string &out, const shared::log_file &file, uint32_t capacity,
                    uint32_t bytes_per_cell) {
  out += "\n" + shared::safely(file.path) + ": " + std::to_string(capacity) + " bytes, " +
         std::to_string(bytes_per_cell) + " to a character\n";
}

// Returns whether there was a ring to draw. The first one follows the legend.
bool show_map(const shared::log_file &file, ring_bytes image, size_t columns, bool first,
              output &out) {
  const ring_map map = map_ring(image, shared::capacity_of(file));
  if (!map.state) {
    out.problem(file.path, "there is no ring to draw: " + shared::damage_text(*map.damage));
    return false;
  }
  const map_scale scale = scale_of(map.state->max, columns);
  if (first) append_legend(out.text, out.color);
  append_heading(out.text, file, map.state->max, scale.bytes_per_cell);
  append_rows(out.text, marks_of(map, scale.bytes_per_cell), scale, out.color);
  append_totals(out.text, map);
  if (map.damage) out.problem(file.path, shared::damage_text(*map.damage));
  return true;
}

}  // namespace

void show_maps(const request &asked, output &out) {
  const size_t columns = terminal_columns();
  std::vector<uint8_t> image;
  bool any = false;
  for (const shared::log_file &file : asked.files) {
    if (!read_image(file, image, out)) continue;
    any = show_map(file, image, columns, !any, out) || any;
  }
}

}  // namespace vesk::veskshow
