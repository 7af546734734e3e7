// --verify: what is wrong with each file, as the reader finds it on its way through the whole
// chain, and what start-up would do with the file.
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "forecast/vesk_forecast.h"
#include "reader/vesk_ring_summary.h"
#include "reader/vesk_salvage.h"
#include "tools/shared/repairs.h"
#include "tools/shared/text.h"
#include "tools/veskshow/jobs.h"

namespace vesk::veskshow {

namespace {

constexpr std::string_view red = "\x1b[31m";
constexpr std::string_view plain = "\x1b[0m";

// "no entry", "1 entry", "2 entries".
std::string counted(uint32_t number, const char *one, const char *several) {
  if (number == 0) return std::string("no ") + one;
  return std::to_string(number) + " " + (number == 1 ? one : several);
}

std::string counted_entries(uint32_t number) {
  return counted(number, "entry", "entries");
}

void add_line(std::string &out, const std::string &text) {
  out.append("    ").append(text).append("\n");
}

// --- the verdict ---

std::string_view announcement(file_fate fate) {
  switch (fate) {
    case file_fate::keep:
      return "the next first start would keep it as it is";
    case file_fate::rebuild:
      return "the next first start would rebuild its global header";
    case file_fate::remove:
      return "the next first start would remove it";
    case file_fate::stay_marked:
      return "the next first start would mark it for repair and leave it as it is";
  }
  return "";
}

// What the reader's own walk through the whole chain makes of the file; start-up may see it
// differently.
std::string_view state_of(const ring_summary &summary, file_fate fate) {
  if (summary.damage) return "damaged";
  return fate == file_fate::keep ? "sound" : "readable";
}

void append_verdict(output &out, const shared::log_file &file, std::string_view state,
                    std::string_view rest) {
  const bool sound = state == "sound";
  const bool colored = out.color && !sound;
  shared::append_safely(out.text, file.name);
  out.text += ": ";
  if (colored) out.text += red;
  out.text += state;
  if (colored) out.text += plain;
  out.text.append("; ").append(rest).append("\n");
  if (!sound) out.status = exit_problem;
}

void append_finding(std::string &out, const ring_summary &summary) {
  const std::string readable = counted_entries(summary.entries) + " can be read";
  add_line(out, summary.damage ? shared::damage_text(*summary.damage) + "; " + readable
                               : readable + " without meeting damage");
}

// --- what start-up would do, and why ---

void append_reason_to_keep(std::string &out, uint16_t file_type) {
  const bool kernel_log = file_type == VESK_KERNEL_LOG || file_type == VESK_KERNEL_BIG_LOG;
  add_line(out, kernel_log
                    ? "start-up checks nothing of a kernel log but its global header, and finds "
                      "nothing wrong with it"
                    : "start-up checks the global header and samples of the entries, and finds "
                      "nothing wrong with them");
}

void append_rebuild(std::string &out, const file_forecast &foretold) {
  add_line(out, "the new global header has start " + std::to_string(foretold.state.start) +
                    " and end " + std::to_string(foretold.state.end));
  if (foretold.nulls_added > 0) {
    add_line(out,
             counted(foretold.nulls_added, "null entry covers", "null entries cover") + " damage");
  }
  if (foretold.headers_rewritten > 0) {
    add_line(out, counted(foretold.headers_rewritten, "entry header is", "entry headers are") +
                      " rewritten");
  }
  add_line(out, "before the repair " + counted_entries(foretold.readable_before) +
                    " can be read, afterwards " + counted_entries(foretold.readable_after));
}

// A start may take away what salvage still finds.
void append_advice(std::string &out, const shared::log_file &file, ring_bytes image) {
  uint32_t found = 0;
  salvage search(image, shared::capacity_of(file));
  while (const auto what = search.next()) {
    if (std::holds_alternative<salvaged_entry>(*what)) ++found;
  }
  add_line(out,
           "veskshow --salvage finds " + counted_entries(found) +
               (found > 0 ? " in it; use it before that start, or --preserve a copy" : " in it"));
}

void append_consequences(std::string &out, const file_forecast &foretold) {
  switch (foretold.fate) {
    case file_fate::keep:
      break;
    case file_fate::rebuild:
      append_rebuild(out, foretold);
      break;
    case file_fate::remove:
      if (foretold.readable_before > 0) {
        add_line(out,
                 counted_entries(foretold.readable_before) + " that can be read would be lost");
      }
      break;
    case file_fate::stay_marked:
      add_line(out, foretold.ends_repairs
                        ? "the repairs end at this kernel log, and marked files of higher "
                          "types wait as well"
                        : "the repairs end at a kernel log of a lower type, before its turn");
      break;
  }
}

void append_objection(std::string &out, const file_forecast &foretold) {
  add_line(out, "at a first start the daemon objects to " +
                    shared::damage_text({foretold.offset, foretold.reason}));
  if (!foretold.repair_failure.empty()) {
    add_line(out, "the repair fails: " + foretold.repair_failure);
  }
}

// --- one file ---

void show_verdict(const shared::log_file &file, ring_bytes image, const ring_summary &summary,
                  const file_forecast &foretold, output &out) {
  const std::string_view state = state_of(summary, foretold.fate);
  append_verdict(out, file, state, announcement(foretold.fate));
  if (state == "sound") return;
  append_finding(out.text, summary);
  if (foretold.fate == file_fate::keep) {
    append_reason_to_keep(out.text, file.row->file_type());
  } else {
    append_objection(out.text, foretold);
  }
  append_consequences(out.text, foretold);
  if (foretold.fate == file_fate::rebuild || foretold.fate == file_fate::remove) {
    append_advice(out.text, file, image);
  }
}

void show_unknown(const shared::log_file &file, const ring_summary &summary, output &out) {
  append_verdict(out, file, state_of(summary, file_fate::keep),
                 "its name is none of the catalogue's, so that no start looks at it");
  if (summary.damage) append_finding(out.text, summary);
}

}  // namespace

void show_fates(const request &asked, output &out) {
  shared::repairs_end ended;
  std::vector<uint8_t> image;
  for (const shared::log_file &file : asked.files) {
    if (!read_image(file, image, out)) continue;
    const ring_summary summary = summarize(image, shared::capacity_of(file));
    if (file.row) {
      show_verdict(file, image, summary, forecast(file.row->file_type(), image, ended.before(file)),
                   out);
    } else {
      show_unknown(file, summary, out);
    }
    out.flush_when_large();
  }
}

}  // namespace vesk::veskshow
