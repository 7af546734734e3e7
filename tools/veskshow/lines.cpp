#include <algorithm>

#include "tools/shared/text.h"
#include "tools/shared/time.h"
#include "tools/veskshow/fields.h"

namespace vesk::veskshow {

namespace {

// --- colours ---

constexpr std::string_view dim = "\x1b[2m";
constexpr std::string_view bold = "\x1b[1m";
constexpr std::string_view yellow = "\x1b[33m";
constexpr std::string_view plain = "\x1b[0m";

// While it lives, what is appended has the color, if the style has colors.
class painted {
 public:
  painted(std::string &out, std::string_view color, const entry_style &style)
      : out_(out), on_(style.color) {
    if (on_) out_ += color;
  }
  ~painted() {
    if (on_) out_ += plain;
  }
  painted(const painted &) = delete;
  painted &operator=(const painted &) = delete;

 private:
  std::string &out_;
  const bool on_;
};

// --- the time ---

void append_time(std::string &out, const ring_entry &entry, const entry_style &style) {
  const painted as(out, dim, style);
  if (style.format == output_format::short_unix) {
    out += std::to_string(entry.secs);
    shared::append_usecs(out, entry.usecs);
    return;
  }
  const bool iso = style.format == output_format::short_iso;
  shared::append_date_time(out, entry.secs, style.zone, iso ? 'T' : ' ');
  shared::append_usecs(out, entry.usecs);
  if (iso) shared::append_zone_offset(out, entry.secs, style.zone);
}

// --- who and where ---

void append_name(std::string &out, const numbered_names &names, uint16_t number) {
  const std::string *name = find_name(names, number);
  out += name ? shared::safely(*name) : std::to_string(number);
}

std::string_view short_name(const shown_entry &shown) {
  std::string_view file = shown.file;
  if (shown.file_type != 0 && file.ends_with(".log")) file.remove_suffix(4);
  return file;
}

// All of the short forms that stands before the data.
void append_head(std::string &out, const shown_entry &shown, const entry_style &style) {
  append_time(out, shown.entry, style);
  out += ' ';
  shared::append_safely(out, short_name(shown));
  out += ' ';
  {
    const painted as(out, bold, style);
    append_name(out, style.names->uuids, shown.entry.uuid);
  }
  out += '[';
  append_name(out, style.names->types, shown.entry.type);
  out += "]:";
  if (!shown.certainty.empty()) {
    out += ' ';
    const painted as(out, yellow, style);
    out.append("(").append(shown.certainty).append(")");
  }
}

// --- all of the data ---

void append_field(std::string &out, std::string_view name, std::string_view value) {
  out.append("    ").append(name).append("=").append(value).append("\n");
}

// "00000010  67 61 6d 6d 61 20 72 61  79 00 00 00              |gamma ray...|"
void append_dump_line(std::string &out, uint32_t offset, ring_bytes bytes) {
  constexpr size_t half = 8, text_column = 60;
  const size_t first = std::min(half, bytes.size());
  be32 place{};
  place = offset;
  const size_t line = out.size();
  shared::append_hex(out, place.b);
  shared::append_hex(out += "  ", bytes.first(first), 1);
  shared::append_hex(out += "  ", bytes.subspan(first), 1);
  out.resize(line + text_column, ' ');
  out.append("|").append(shared::characters_of(bytes));
  std::replace_if(
      out.end() - static_cast<ptrdiff_t>(bytes.size()), out.end(),
      [](uint8_t c) { return c < 0x20 || c >= 0x7F; }, '.');
  out += "|\n";
}

}  // namespace

void append_short(std::string &out, const shown_entry &shown, const entry_style &style) {
  append_head(out, shown, style);
  if (!shown.entry.data.empty()) out += ' ';
  shared::append_data(out, shown.entry.data);
  out += '\n';
}

void append_verbose(std::string &out, const shown_entry &shown, const entry_style &style) {
  append_time(out, shown.entry, style);
  out += " [";
  append_cursor(out, shown);
  out += "]\n";
  each_field(shown, style, [&out](std::string_view name, std::string_view value) {
    append_field(out, name, value);
  });
  if (const auto message = message_of(shown.entry)) {
    out += "    MESSAGE=";
    shared::append_safely(out, *message);
  } else {
    out += "    VESK_DATA=";
    shared::append_hex(out, shown.entry.data);
  }
  out += '\n';
}

void append_text(std::string &out, const shown_entry &shown, const entry_style &) {
  const auto message = message_of(shown.entry);
  if (!message) {
    shared::append_data(out, shown.entry.data);
    out += '\n';
    return;
  }
  std::string_view rest = *message;
  for (size_t length; (length = rest.find('\n')) != rest.npos; rest.remove_prefix(length + 1)) {
    shared::append_safely(out, rest.substr(0, length));
    out += '\n';
  }
  shared::append_safely(out, rest);
  out += '\n';
}

void append_dump(std::string &out, const shown_entry &shown, const entry_style &style) {
  constexpr size_t bytes_per_line = 16;
  append_head(out, shown, style);
  out += '\n';
  const ring_bytes data = shown.entry.data;
  for (size_t i = 0; i < data.size(); i += bytes_per_line) {
    append_dump_line(out, static_cast<uint32_t>(i),
                     data.subspan(i, std::min(bytes_per_line, data.size() - i)));
  }
}

void append_clock_jump(std::string &out, uint64_t usecs, const entry_style &style) {
  using enum output_format;
  constexpr output_format for_people[] = {short_full, short_iso, short_unix, verbose, hex};
  if (std::count(std::begin(for_people), std::end(for_people), style.format) == 0) return;
  {
    const painted as(out, yellow, style);
    out += "-- the clock was set back by " + shared::duration_text(usecs) + " --";
  }
  out += '\n';
}

}  // namespace vesk::veskshow
