#include "recovery/vesk_examine.h"

#include <cerrno>

#include "format/vesk_catalogue.h"
#include "format/vesk_format.h"
#include "recovery/vesk_corruption_check.h"
#include "recovery/vesk_gheader_check.h"
#include "store/vesk_entry.h"
#include "store/vesk_fs_io.h"
#include "store/vesk_log.h"

namespace vesk {

namespace {

finding read_gheader(int32_t fd, vesk_gheader *header) {
  if (!seek_to(fd, 0)) {
    VESK_ERROR("ERROR: lseek failed to seek %d, errno = %d\n", 0, errno);
    return {problem::gheader_unreadable};
  }
  const int32_t count = vesk_read_fs(fd, header, VESK_GHEADER_SIZE);
  if (static_cast<uint32_t>(count) < VESK_GHEADER_SIZE) {  // -1 is huge, and passes
    VESK_ERROR("ERROR: ghdr read fails errno %d.\n", errno);
    return {problem::gheader_unreadable};
  }
  return {};
}

void log_problem(problem what, const vesk_gheader &header, const file_info &file) {
  const uint32_t start = header.start;
  const uint32_t end = header.end;
  switch (what) {
    case problem::unknown_version:
      VESK_ERROR("ERROR: Version mismatch in gheader, deleting the file %s\n", file.path);
      break;
    case problem::bad_magic:
    case problem::bad_gheader_sum:
      VESK_ERROR("ERROR: ghdr may be corrupt %d\n", errno);
      break;
    case problem::file_ends_before_start:
    case problem::file_ends_before_end:
      VESK_ERROR("ERROR: start %d or end %d is greater than file size %d for fname %s.\n", start,
                 end, file.size, file.path);
      break;
    case problem::wrapped_file_not_full:
      VESK_ERROR(
          "ERROR: File already wrapped but file size %d is not equal to the max size %d start %d "
          "end %d fname %s",
          file.size, file.max_size, start, end, file.path);
      break;
    default:
      VESK_ERROR(
          "ERROR: max %d is greater than file max %dend %d is greater than maxstart %d is greater "
          "than max",
          uint32_t{header.max}, file.max_size, end, start);
  }
}

file_fate examine_chain(int32_t fd, const file_info &file, const vesk_gheader &header) {
  VESK_TRACE("TRACE:Going to check if file is corrupted%s.\n", file.path);
  uint32_t reason = 0;
  if (vesk_check_file_corrupted(fd, header.start, header.end, header.max, &reason) == 0) {
    VESK_TRACE("TRACE:File %s isn't corrupted\n", file.path);
    return file_fate::keep;
  }
  if (reason == VESK_CORRUPT_UNREADABLE) return file_fate::remove;
  VESK_ERROR("ERROR: File %s had internal error or is corrupted %d.\n", file.path, reason);
  // No check of ours gives another reason; the mark would stay as it was.
  const bool known = reason == VESK_CORRUPT_CHAIN || reason == VESK_CORRUPT_END;
  return known ? file_fate::rebuild : file_fate::stay_marked;
}

file_fate note(const finding &found) {
  notes.found = found;
  return fate_of(found.what);
}

}  // namespace

file_fate examine_contents(uint32_t file_type, int32_t fd, const file_info &file) {
  notes = {};
  // A header that cannot be read for a moment (the read returns -1, which passes for complete)
  // costs no log: the buffer starts as the header of an empty file.
  vesk_gheader header =
      make_gheader(VESK_GHEADER_SIZE, VESK_GHEADER_SIZE, file.max_size, VESK_VERSION);
  if (const finding found = read_gheader(fd, &header)) return note(found);
  if (const finding found = check_gheader(header, file.max_size, file.size)) {
    log_problem(found.what, header, file);
    return note(found);
  }
  if (is_kernel_log(file_type)) {
    VESK_TRACE("TRACE:No corruption check for kernel logs\n");
    return file_fate::keep;
  }
  return examine_chain(fd, file, header);
}

}  // namespace vesk
