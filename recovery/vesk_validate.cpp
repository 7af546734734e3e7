#include "recovery/vesk_validate.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "base/vesk_fd.h"
#include "format/vesk_catalogue.h"
#include "format/vesk_checksum.h"
#include "format/vesk_format.h"
#include "recovery/vesk_corruption_check.h"
#include "recovery/vesk_recover.h"
#include "store/vesk_entry.h"
#include "store/vesk_file_info.h"
#include "store/vesk_flash.h"
#include "store/vesk_fs_io.h"
#include "store/vesk_log.h"
#include "store/vesk_state.h"

namespace {

// What becomes of a file, and of its type's mark.
enum class verdict : uint8_t {
  clean,      // nothing is held against it: marked clean
  remove,     // removed, marked clean
  corrupt,    // marked for recovery
  unsettled,  // recovery is needed, but the mark stays as it was
};

struct examined_file {
  char path[VESK_PATH_SIZE];
  uint32_t max_size;
  uint32_t size;
  vesk_gheader header;
};

verdict read_gheader(int32_t fd, examined_file *file) {
  // A header that cannot be read for a moment (the read returns -1, which passes for complete)
  // costs no log: the buffer starts as the header of an empty file.
  file->header =
      vesk::make_gheader(VESK_GHEADER_SIZE, VESK_GHEADER_SIZE, file->max_size, VESK_VERSION);
  if (!vesk::seek_to(fd, 0)) {
    VESK_ERROR("ERROR: lseek failed to seek %d, errno = %d\n", 0, errno);
    return verdict::remove;
  }
  const int32_t count = vesk_read_fs(fd, &file->header, VESK_GHEADER_SIZE);
  if (static_cast<uint32_t>(count) < VESK_GHEADER_SIZE) {  // -1 is huge, and passes
    VESK_ERROR("ERROR: ghdr read fails errno %d.\n", errno);
    return verdict::remove;
  }
  return verdict::clean;
}

// The version comes first, so that a header of arbitrary bytes costs the file instead of a repair.
verdict judge_gheader(const examined_file &file) {
  if (file.header.version != VESK_VERSION) {
    VESK_ERROR("ERROR: Version mismatch in gheader, deleting the file %s\n", file.path);
    return verdict::remove;
  }
  if (vesk_check_gheader(&file.header) != 0) {
    VESK_ERROR("ERROR: ghdr may be corrupt %d\n", errno);
    return verdict::corrupt;
  }
  const uint32_t max = file.header.max;
  const uint32_t start = file.header.start;
  const uint32_t end = file.header.end;
  if (max != file.max_size || end > max || start > max || start >= max - VESK_EHDR_SIZE) {
    VESK_ERROR(
        "ERROR: max %d is greater than file max %dend %d is greater than maxstart %d is greater "
        "than max",
        max, file.max_size, end, start);
    return verdict::corrupt;
  }
  return verdict::clean;
}

verdict judge_size(const examined_file &file) {
  const uint32_t start = file.header.start;
  const uint32_t end = file.header.end;
  if (start <= end && (file.size < start || file.size < end)) {
    VESK_ERROR("ERROR: start %d or end %d is greater than file size %d for fname %s.\n", start, end,
               file.size, file.path);
    return verdict::remove;
  }
  if (start > end && file.header.max != file.size) {
    VESK_ERROR(
        "ERROR: File already wrapped but file size %d is not equal to the max size %d start %d end "
        "%d fname %s",
        file.size, file.max_size, start, end, file.path);
    return verdict::remove;
  }
  return verdict::clean;
}

verdict judge_chain(uint32_t file_type, int32_t fd, const examined_file &file) {
  if (file_type == VESK_KERNEL_LOG || file_type == VESK_KERNEL_BIG_LOG) {
    VESK_TRACE("TRACE:No corruption check for kernel logs\n");
    return verdict::clean;
  }
  VESK_TRACE("TRACE:Going to check if file is corrupted%s.\n", file.path);
  uint32_t reason = 0;
  if (vesk_check_file_corrupted(fd, file.header.start, file.header.end, file.header.max, &reason) ==
      0) {
    VESK_TRACE("TRACE:File %s isn't corrupted\n", file.path);
    return verdict::clean;
  }
  if (reason == VESK_CORRUPT_UNREADABLE) return verdict::remove;
  VESK_ERROR("ERROR: File %s had internal error or is corrupted %d.\n", file.path, reason);
  return reason == VESK_CORRUPT_CHAIN || reason == VESK_CORRUPT_END ? verdict::corrupt
                                                                    : verdict::unsettled;
}

verdict judge_contents(uint32_t file_type, int32_t fd, examined_file *file) {
  if (const verdict v = read_gheader(fd, file); v != verdict::clean) return v;
  if (const verdict v = judge_gheader(*file); v != verdict::clean) return v;
  if (const verdict v = judge_size(*file); v != verdict::clean) return v;
  return judge_chain(file_type, fd, *file);
}

verdict examine(uint32_t file_type, examined_file *file) {
  if (vesk_get_file_info(file_type, &file->max_size, &file->size, file->path) != 0) {
    return verdict::clean;
  }
  struct stat st;
  if (vesk_stat_fs(file->path, &st) != 0) return verdict::clean;
  if (!S_ISREG(st.st_mode)) {
    VESK_ERROR("ERROR: %s exists, but not a regular file.\n", file->path);
    return verdict::clean;
  }
  file->size = vesk::size_of_file(st);
  if (file->size < VESK_GHEADER_SIZE) {
    VESK_ERROR("ERROR: %s exists, but size is less than Gheader size.\n", file->path);
    return verdict::remove;
  }
  const vesk::unique_fd fd(open(file->path, O_RDWR, 0644));
  if (!fd) {
    VESK_ERROR("ERROR: Open of %s failed with errno %d.\n", file->path, errno);
    return verdict::remove;
  }
  return judge_contents(file_type, fd.get(), file);
}

// Whether the type needs recovery.
bool validate_type(uint32_t file_type) {
  examined_file file;
  const verdict found = examine(file_type, &file);
  if (found == verdict::remove) vesk_remove_file(file.path);
  if (found == verdict::corrupt) vesk_file_sanity[file_type] = VESK_SANITY_CORRUPT;
  if (found == verdict::clean || found == verdict::remove) {
    vesk_file_sanity[file_type] = VESK_SANITY_CLEAN;
  }
  return found == verdict::corrupt || found == verdict::unsettled;
}

}  // namespace

int32_t vesk_validate_files(void) {
  bool recovery_needed = false;
  for (uint32_t type = 0; type < VESK_MAX_FILE_TYPES; ++type) {
    if (validate_type(type)) recovery_needed = true;
  }
  if (recovery_needed) vesk_recover_corrupted_files();
  return 0;
}
