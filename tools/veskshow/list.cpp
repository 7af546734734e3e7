// --list: a row for each file.
#include <string>
#include <vector>

#include "reader/vesk_ring_summary.h"
#include "tools/shared/problem_text.h"
#include "tools/shared/repairs.h"
#include "tools/shared/text.h"
#include "tools/veskshow/jobs.h"
#include "tools/veskshow/table.h"

namespace vesk::veskshow {

namespace {

std::string why(const file_forecast &predicted) {
  std::string text =
      shared::damage_text({predicted.objection.offset, shared::objection_text(predicted)});
  if (predicted.repair_failure) {
    text += "; the repair fails: " + shared::repair_failure_text(predicted);
  }
  return text;
}

std::string fate_cell(const shared::log_file &file, const file_forecast &predicted,
                      const ring_summary &summary) {
  const std::string damage = summary.damage ? shared::damage_text(*summary.damage) : "";
  if (!file.row) return damage.empty() ? unknown_cell : unknown_cell + (": " + damage);
  const std::string fate(fate_name(predicted.fate));
  if (predicted.fate != file_fate::keep) return fate + ": " + why(predicted);
  return damage.empty() ? fate : fate + ", but " + damage;
}

std::optional<uint32_t> secs_of(const std::optional<ring_entry> &entry) {
  return entry ? std::optional(entry->secs) : std::nullopt;
}

std::vector<std::string> row_of(const shared::log_file &file, size_t size,
                                const ring_summary &summary, const file_forecast &predicted,
                                const entry_style &style) {
  const auto &ring = summary.state;
  return {
      file.row ? std::to_string(shared::type_of(file)) : unknown_cell,
      shared::safely(file.name),
      file.row ? sender_cell(file.row->owner(), *style.names) : unknown_cell,
      std::to_string(size),
      ring ? std::to_string(fill_percent(*ring)) + "%" : unknown_cell,
      ring ? std::to_string(summary.entries) : unknown_cell,
      time_cell(secs_of(summary.oldest), style.zone),
      time_cell(secs_of(summary.newest), style.zone),
      ring ? (ring->wrapped() ? "yes" : "no") : unknown_cell,
      fate_cell(file, predicted, summary),
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
    if (!read_image(file, image, out)) continue;
    const ring_summary summary = summarize(image, shared::capacity_of(file));
    file_forecast predicted;
    if (const failure why = repairs.predict(file, image, predicted)) {
      out.problem(file.path, why.reason);
      continue;
    }
    list.add(row_of(file, image.size(), summary, predicted, asked.style));
    any = true;
    if (summary.damage || predicted.fate != file_fate::keep) out.status = exit_problem;
  }
  if (any) list.append_to(out.text);
}

}  // namespace vesk::veskshow
