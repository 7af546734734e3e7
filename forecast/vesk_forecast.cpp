#include "forecast/vesk_forecast.h"

#include <utility>

#include "forecast/vesk_forecast_first_pass.h"
#include "forecast/vesk_forecast_image.h"
#include "forecast/vesk_forecast_judgement.h"
#include "forecast/vesk_forecast_second_pass.h"
#include "format/vesk_catalogue.h"
#include "reader/vesk_ring_summary.h"

namespace vesk {

namespace {

void fail_repair(file_forecast &foretold, std::string why) {
  foretold.fate = file_fate::remove;
  foretold.repair_failure = std::move(why);
}

// Both passes, on a copy of the file.
void rebuild(file_forecast &foretold, uint32_t capacity, ring_bytes image, start_time now) {
  std::vector<uint8_t> file(image.begin(), image.end());
  const first_pass_result first = run_first_pass(file, capacity, now);
  if (!first.failure.empty()) return fail_repair(foretold, first.failure);
  const second_pass_result second =
      run_second_pass(file, capacity, first.predicted_start, first.entries);
  if (!second.failure.empty()) return fail_repair(foretold, second.failure);

  foretold.fate = file_fate::rebuild;
  foretold.state = {capacity, second.start, second.end};
  foretold.headers_rewritten = first.headers_rewritten;
  foretold.nulls_added = first.nulls_added;
  write_gheader(file, foretold.state);
  foretold.readable_after = summarize(file, capacity).entries;
  foretold.rebuilt = std::move(file);
}

void repair(file_forecast &foretold, uint32_t file_type, uint32_t capacity, ring_bytes image,
            start_time now) {
  if (auto why = refusal_to_repair(capacity, image); !why.empty()) {
    return fail_repair(foretold, std::move(why));
  }
  if (is_kernel_log(file_type)) {
    foretold.fate = file_fate::stay_marked;
    foretold.ends_repairs = true;
    return;
  }
  rebuild(foretold, capacity, image, now);
}

}  // namespace

file_forecast forecast(uint32_t file_type, ring_bytes image, bool repairs_ended, start_time now) {
  file_forecast foretold{};
  const vesk_catalogue_row *row = find_file(file_type);
  if (row == nullptr) return foretold;

  foretold.readable_before = summarize(image, row->max_size).entries;
  judgement found = judge(file_type, row->max_size, image);
  foretold.offset = found.offset;
  foretold.reason = std::move(found.reason);
  if (found.says == sentence::remove) foretold.fate = file_fate::remove;
  if (found.says != sentence::repair) return foretold;

  if (repairs_ended) {
    foretold.fate = file_fate::stay_marked;
  } else {
    repair(foretold, file_type, row->max_size, image, now);
  }
  return foretold;
}

std::string_view fate_name(file_fate fate) {
  switch (fate) {
    case file_fate::keep:
      return "keep";
    case file_fate::rebuild:
      return "rebuild";
    case file_fate::remove:
      return "remove";
    case file_fate::stay_marked:
      return "stay marked";
  }
  return "";
}

}  // namespace vesk
