// --verify: what is wrong with each file, as the reader finds it on its way through the whole
// chain, and what start-up would do with the file.
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "reader/vesk_ring_summary.h"
#include "reader/vesk_salvage.h"
#include "tools/shared/problem_text.h"
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

// --- the fate ---

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

void append_fate(output &out, const shared::log_file &file, std::string_view state,
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
  add_line(out, is_kernel_log(file_type)
                    ? "start-up checks nothing of a kernel log but its global header, and finds "
                      "nothing wrong with it"
                    : "start-up checks the global header and samples of the entries, and finds "
                      "nothing wrong with them");
}

void append_rebuild(std::string &out, const file_forecast &predicted) {
  add_line(out, "the new global header has start " + std::to_string(predicted.state.start) +
                    " and end " + std::to_string(predicted.state.end));
  if (predicted.nulls_added > 0) {
    add_line(out,
             counted(predicted.nulls_added, "null entry covers", "null entries cover") + " damage");
  }
  if (predicted.headers_rewritten > 0) {
    add_line(out, counted(predicted.headers_rewritten, "entry header is", "entry headers are") +
                      " rewritten");
  }
  add_line(out, "before the repair " + counted_entries(predicted.readable_before) +
                    " can be read, afterwards " + counted_entries(predicted.readable_after));
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

void append_consequences(std::string &out, const file_forecast &predicted) {
  switch (predicted.fate) {
    case file_fate::keep:
      break;
    case file_fate::rebuild:
      append_rebuild(out, predicted);
      break;
    case file_fate::remove:
      if (predicted.readable_before > 0) {
        add_line(out,
                 counted_entries(predicted.readable_before) + " that can be read would be lost");
      }
      break;
    case file_fate::stay_marked:
      add_line(out, predicted.ends_repairs
                        ? "the repairs end at this kernel log, and marked files of higher "
                          "types wait as well"
                        : "the repairs end at a kernel log of a lower type, before its turn");
      break;
  }
}

void append_objection(std::string &out, const file_forecast &predicted) {
  add_line(out, "at a first start the daemon objects to " +
                    shared::damage_text(
                        {predicted.objection.offset, shared::objection_text(predicted)}));
  if (predicted.repair_failure) {
    add_line(out, "the repair fails: " + shared::repair_failure_text(predicted));
  }
}

// --- one file ---

void show_fate(const shared::log_file &file, ring_bytes image, const ring_summary &summary,
               const file_forecast &predicted, output &out) {
  const std::string_view state = state_of(summary, predicted.fate);
  append_fate(out, file, state, announcement(predicted.fate));
  if (state == "sound") return;
  append_finding(out.text, summary);
  if (predicted.fate == file_fate::keep) {
    append_reason_to_keep(out.text, file.row->file_type());
  } else {
    append_objection(out.text, predicted);
  }
  append_consequences(out.text, predicted);
  if (predicted.fate == file_fate::rebuild || predicted.fate == file_fate::remove) {
    append_advice(out.text, file, image);
  }
}

void show_unknown(const shared::log_file &file, const ring_summary &summary, output &out) {
  append_fate(out, file, state_of(summary, file_fate::keep),
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
    file_forecast predicted;
    if (!file.row) {
      show_unknown(file, summary, out);
    } else if (const auto why = ended.predict(file, image, predicted)) {
      out.problem(file.path, why.reason);
    } else {
      show_fate(file, image, summary, predicted, out);
    }
    out.flush_when_large();
  }
}

}  // namespace vesk::veskshow
