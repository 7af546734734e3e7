#include "forecast/vesk_forecast.h"

#include <algorithm>
#include <cerrno>

#include "base/vesk_errno.h"
#include "forecast/vesk_memory_copy.h"
#include "format/vesk_catalogue.h"
#include "reader/vesk_ring_summary.h"
#include "recovery/vesk_examine.h"
#include "recovery/vesk_gheader_check.h"
#include "recovery/vesk_repair.h"
#include "store/vesk_file_info.h"
#include "store/vesk_state.h"

namespace vesk {

namespace {

// A null entry that covers the tail of a file may be padded beyond the capacity.
constexpr size_t longest_padding = 3;

// Only a copy that cannot be read or written leads to these.
bool is_failure_of_the_copy(problem what) {
  return what == problem::gheader_unreadable || what == problem::null_entry_not_written;
}

bool play_repair(uint32_t file_type, const file_info &file, memory_copy &copy,
                 file_forecast &predicted) {
  predicted.fate = repair_file(file_type, VESK_SANITY_CORRUPT, copy.fd(), file);
  predicted.ends_repairs = predicted.fate == file_fate::stay_marked;
  predicted.state = {file.max_size, notes.start, notes.end};
  if (predicted.fate == file_fate::remove) predicted.repair_failure = notes.found;
  if (is_failure_of_the_copy(predicted.repair_failure.what)) return false;
  if (predicted.fate != file_fate::rebuild) return true;

  predicted.headers_rewritten = notes.headers_rewritten;
  predicted.nulls_added = notes.nulls_added;
  if (!copy.read(predicted.rebuilt)) return false;
  predicted.readable_after = summarize(predicted.rebuilt, file.max_size).entries;
  return true;
}

// False where the copy fails.
bool play_start(uint32_t file_type, ring_bytes image, const file_info &file, bool repairs_ended,
                file_forecast &predicted) {
  predicted.objection = check_file_size(file.size);
  if (predicted.objection) {
    predicted.fate = file_fate::remove;
    return true;
  }
  memory_copy copy;
  const size_t room = std::max(file.size, file.max_size) + longest_padding;
  if (!copy.make(image, room)) return false;
  errno = 0;  // as if nothing had failed before
  predicted.fate = examine_contents(file_type, copy.fd(), file);
  predicted.objection = notes.found;
  if (is_failure_of_the_copy(predicted.objection.what)) return false;
  if (predicted.fate != file_fate::rebuild) return true;
  if (!repairs_ended) return play_repair(file_type, file, copy, predicted);
  predicted.fate = file_fate::stay_marked;
  return true;
}

}  // namespace

failure forecast(uint32_t file_type, ring_bytes image, bool repairs_ended,
                 file_forecast &ret_predicted) {
  const errno_keeper keeper;
  ret_predicted = {};
  const vesk_catalogue_row *row = find_file(file_type);
  if (row == nullptr) return {};

  file_info file{.path = {},
                 .max_size = row->max_size,
                 .size = static_cast<uint32_t>(std::min<size_t>(image.size(), UINT32_MAX))};
  log_path(*row, file.path);
  std::copy_n(image.begin(), std::min(image.size(), sizeof ret_predicted.header),
              reinterpret_cast<uint8_t *>(&ret_predicted.header));
  ret_predicted.size = file.size;
  ret_predicted.capacity = file.max_size;
  ret_predicted.readable_before = summarize(image, row->max_size).entries;
  if (play_start(file_type, image, file, repairs_ended, ret_predicted)) return {};
  return {"cannot copy it into memory: " + errno_text(errno)};
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
