// --list: a row for each file.
#include <string>
#include <vector>

#include "reader/vesk_ring_image.h"
#include "reader/vesk_ring_summary.h"
#include "tools/shared/problem_text.h"
#include "tools/shared/repairs.h"
#include "tools/veskshow/jobs.h"
#include "tools/veskshow/table.h"

namespace vesk::veskshow {

namespace {

// The catalogue has no type 0.
uint32_t type_of(const shared::log_file &file) {
  return file.row ? file.row->file_type() : 0;
}

std::string why(const file_forecast &foretold) {
  std::string text =
      shared::damage_text({foretold.objection.offset, shared::objection_text(foretold)});
  if (foretold.repair_failure) {
    text += "; the repair fails: " + shared::repair_failure_text(foretold);
  }
  return text;
}

std::string verdict(const shared::log_file &file, const file_forecast &foretold,
                    const ring_summary &summary) {
  const std::string damage = summary.damage ? shared::damage_text(*summary.damage) : "";
  if (!file.row) return damage.empty() ? unknown_cell : unknown_cell + (": " + damage);
  const std::string fate(fate_name(foretold.fate));
  if (foretold.fate != file_fate::keep) return fate + ": " + why(foretold);
  return damage.empty() ? fate : fate + ", but " + damage;
}

std::optional<uint32_t> secs_of(const std::optional<ring_entry> &entry) {
  return entry ? std::optional(entry->secs) : std::nullopt;
}

std::vector<std::string> row_of(const shared::log_file &file, size_t size,
                                const ring_summary &summary, const file_forecast &foretold,
                                const entry_style &style) {
  const auto &ring = summary.state;
  return {
      file.row ? std::to_string(type_of(file)) : unknown_cell,
      safe_cell(file.name),
      file.row ? sender_cell(file.row->owner(), *style.names) : unknown_cell,
      std::to_string(size),
      ring ? std::to_string(fill_percent(*ring)) + "%" : unknown_cell,
      ring ? std::to_string(summary.entries) : unknown_cell,
      time_cell(secs_of(summary.oldest), style.zone),
      time_cell(secs_of(summary.newest), style.zone),
      !ring             ? unknown_cell
      : ring->wrapped() ? "yes"
                        : "no",
      verdict(file, foretold, summary),
  };
}

table empty_list() {
  using enum alignment;
  return table({{"TYPE", right},
                {"NAME", left},
                {"OWNER", left},
                {"SIZE", right},
                {"FILL", right},
                {"ENTRIES", right},
                {"OLDEST", left},
                {"NEWEST", left},
                {"WRAPPED", left},
                {"VERDICT", left}});
}

}  // namespace

void show_list(const request &asked, output &out) {
  table list = empty_list();
  bool any = false;
  shared::repairs_end repairs;
  std::vector<uint8_t> image;
  for (const shared::log_file &file : asked.files) {
    if (auto reason = read_ring_image(file.path, shared::capacity_of(file), image);
        !reason.empty()) {
      out.problem(file.path, reason);
      continue;
    }
    const ring_summary summary = summarize(image, shared::capacity_of(file));
    file_forecast foretold;
    if (const auto why = repairs.predict(file, image, foretold)) {
      out.problem(file.path, why.reason);
      continue;
    }
    list.add(row_of(file, image.size(), summary, foretold, asked.style));
    any = true;
    if (summary.damage || foretold.fate != file_fate::keep) out.status = exit_problem;
  }
  if (any) list.append_to(out.text);
}

}  // namespace vesk::veskshow
