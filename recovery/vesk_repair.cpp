#include "recovery/vesk_repair.h"

#include <cerrno>

#include "format/vesk_catalogue.h"
#include "format/vesk_format.h"
#include "recovery/vesk_ehdr_recovery.h"
#include "recovery/vesk_ghdr_recovery.h"
#include "recovery/vesk_gheader_check.h"
#include "store/vesk_entry.h"
#include "store/vesk_fs_io.h"
#include "store/vesk_log.h"
#include "store/vesk_state.h"

namespace vesk {

namespace {

finding read_gheader(int32_t fd, vesk_gheader *header) {
  if (!seek_to(fd, 0)) {
    VESK_ERROR("ERROR: lseek failed to seek at  0, errno = %d\n", errno);
    return {problem::gheader_unreadable};
  }
  if (vesk_read_fs(fd, header, VESK_GHEADER_SIZE) < static_cast<int32_t>(VESK_GHEADER_SIZE)) {
    VESK_ERROR("ERROR: ghdr read fails errno %d.\n", errno);
    return {problem::gheader_unreadable};
  }
  return {};
}

void log_problem(problem what, const vesk_gheader &header, const file_info &file) {
  const uint32_t start = header.start;
  const uint32_t end = header.end;
  switch (what) {
    case problem::bad_magic:
    case problem::bad_gheader_sum:
      VESK_ERROR("ERROR: ghdr may be corrupt %d\n", errno);
      [[fallthrough]];
    case problem::gheader_unreadable:
      VESK_ERROR("ERROR: could not get gheader entries for %s\n", file.path);
      break;
    case problem::wrong_capacity:
      VESK_ERROR("ERROR: Max file size %x is not equal to the max allowed size %x fname %s",
                 uint32_t{header.max}, file.max_size, file.path);
      break;
    case problem::wrapped_file_not_full:
      VESK_ERROR(
          "ERROR: File already wrapped but file size %d is not equal to the max size %d start %d "
          "end %d fname %s",
          file.size, file.max_size, start, end, file.path);
      break;
    default:
      VESK_ERROR("ERROR: start %d or end %d is greater than file size %d for fname %s. \n", start,
                 end, file.size, file.path);
  }
}

// The new header's write is not checked: what could be done is done.
void write_gheader(int32_t fd, uint32_t start, uint32_t end, uint32_t max) {
  VESK_ERROR("Updating gheader start %d end %d max %d.\n", start, end, max);
  vesk_update_gheader(fd, start, end, max, VESK_VERSION);
}

file_fate rebuild_gheader(int32_t fd, const file_info &file) {
  uint32_t reason = VESK_GHDR_RECOVERED;
  uint32_t entry_count = 0;
  uint32_t predicted_start = VESK_GHEADER_SIZE;
  VESK_TRACE("TRACE:Going to for first pass ghdr recovery %s.\n", file.path);
  if (vesk_ghdr_recovery_first_pass(fd, VESK_GHEADER_SIZE, file.size, file.max_size, &reason,
                                    &entry_count, &predicted_start) != 0) {
    VESK_ERROR("ERROR: vesk_ghdr_recovery_first_pass returned error %dfor %s \n", reason,
               file.path);
    if (reason == VESK_GHDR_LOST) return file_fate::remove;
  }
  if (entry_count == 0) {
    notes.found = {problem::no_entries, VESK_GHEADER_SIZE};
    return file_fate::remove;
  }

  VESK_TRACE("TRACE:Got num entries %d. going for 2nd pass %s \n", entry_count, file.path);
  uint32_t new_end = 0;
  uint32_t new_start = predicted_start;
  notes.start = predicted_start;
  uint32_t last_entry = VESK_GHEADER_SIZE;
  if (vesk_ghdr_recovery_second_pass(fd, predicted_start, file.size, file.max_size, &reason,
                                     &new_end, &new_start, &last_entry, entry_count) != 0) {
    VESK_ERROR("ERROR: vesk_ghdr_recovery_second_pass returned error %dfor %s \n", reason,
               file.path);
    return file_fate::remove;
  }
  notes.start = new_start;
  notes.end = new_end;
  VESK_TRACE("TRACE:File %s ghdr recovery was successful \n", file.path);
  write_gheader(fd, new_start, new_end, file.max_size);
  return file_fate::rebuild;
}

file_fate repair_entries(int32_t fd, const vesk_gheader &header, const file_info &file) {
  const uint32_t start = header.start;
  const uint32_t end = header.end;
  const uint32_t max = header.max;
  uint32_t reason = 0;
  uint32_t new_start = start;
  uint32_t last_entry = VESK_GHEADER_SIZE;
  if (vesk_ehdr_recovery(fd, start, end, max, &reason, &new_start, &last_entry) != 0) {
    VESK_ERROR("ERROR: eheader file recovery returned error %d. for %s\n", reason, file.path);
    return file_fate::remove;
  }
  VESK_TRACE("TRACE:File %s recovery was successful \n", file.path);
  if (new_start != start) write_gheader(fd, new_start, end, max);
  return file_fate::rebuild;
}

}  // namespace

file_fate repair_file(uint32_t file_type, uint32_t mark, int32_t fd, const file_info &file) {
  notes = {};
  vesk_gheader header{};
  finding found = read_gheader(fd, &header);
  if (!found) found = check_gheader_to_repair(header, file.max_size, file.size);
  if (found) {
    log_problem(found.what, header, file);
    notes.found = found;
    return file_fate::remove;
  }
  if (is_kernel_log(file_type)) return file_fate::stay_marked;
  VESK_TRACE("TRACE:Going to recover corrupted file %s.\n", file.path);
  return mark == VESK_SANITY_CORRUPT ? rebuild_gheader(fd, file) : repair_entries(fd, header, file);
}

}  // namespace vesk
