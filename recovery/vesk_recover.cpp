#include "recovery/vesk_recover.h"

#include <fcntl.h>

#include <cerrno>

#include "base/vesk_fd.h"
#include "format/vesk_catalogue.h"
#include "format/vesk_checksum.h"
#include "format/vesk_format.h"
#include "platform/runctl.h"
#include "recovery/vesk_ehdr_recovery.h"
#include "recovery/vesk_ghdr_recovery.h"
#include "store/vesk_entry.h"
#include "store/vesk_file_info.h"
#include "store/vesk_flash.h"
#include "store/vesk_fs_io.h"
#include "store/vesk_log.h"
#include "store/vesk_state.h"

namespace {

struct marked_file {
  char path[VESK_PATH_SIZE];
  uint32_t max_size;
  uint32_t size;
  vesk_gheader header;
};

enum class outcome : uint8_t { repaired, given_up, sweep_ends };

int32_t read_gheader(int32_t fd, marked_file *file) {
  if (!vesk::seek_to(fd, 0)) {
    VESK_ERROR("ERROR: lseek failed to seek at  0, errno = %d\n", errno);
  } else if (vesk_read_fs(fd, &file->header, VESK_GHEADER_SIZE) <
             static_cast<int32_t>(VESK_GHEADER_SIZE)) {
    VESK_ERROR("ERROR: ghdr read fails errno %d.\n", errno);
  } else if (vesk_check_gheader(&file->header) != 0) {
    VESK_ERROR("ERROR: ghdr may be corrupt %d\n", errno);
  } else {
    return 0;
  }
  VESK_ERROR("ERROR: could not get gheader entries for %s\n", file->path);
  return -1;
}

int32_t check_gheader_fits(const marked_file &file) {
  const uint32_t max = file.header.max;
  const uint32_t start = file.header.start;
  const uint32_t end = file.header.end;
  if (max != file.max_size) {
    VESK_ERROR("ERROR: Max file size %x is not equal to the max allowed size %x fname %s", max,
               file.max_size, file.path);
    return -1;
  }
  if (start > end && file.size != file.max_size) {
    VESK_ERROR(
        "ERROR: File already wrapped but file size %d is not equal to the max size %d start %d end "
        "%d fname %s",
        file.size, file.max_size, start, end, file.path);
    return -1;
  }
  if (file.size < start || file.size < end) {
    VESK_ERROR("ERROR: start %d or end %d is greater than file size %d for fname %s. \n", start,
               end, file.size, file.path);
    return -1;
  }
  return 0;
}

// The new header's write is not checked: what could be done is done.
void write_gheader(int32_t fd, uint32_t start, uint32_t end, uint32_t max) {
  VESK_ERROR("Updating gheader start %d end %d max %d.\n", start, end, max);
  vesk_update_gheader(fd, start, end, max, VESK_VERSION);
}

outcome rebuild_gheader(int32_t fd, const marked_file &file) {
  uint32_t reason = VESK_GHDR_RECOVERED;
  uint32_t entry_count = 0;
  uint32_t predicted_start = VESK_GHEADER_SIZE;
  VESK_TRACE("TRACE:Going to for first pass ghdr recovery %s.\n", file.path);
  if (vesk_ghdr_recovery_first_pass(fd, VESK_GHEADER_SIZE, file.size, file.max_size, &reason,
                                    &entry_count, &predicted_start) != 0) {
    VESK_ERROR("ERROR: vesk_ghdr_recovery_first_pass returned error %dfor %s \n", reason,
               file.path);
    if (reason == VESK_GHDR_LOST) return outcome::given_up;
  }
  if (entry_count == 0) return outcome::given_up;

  VESK_TRACE("TRACE:Got num entries %d. going for 2nd pass %s \n", entry_count, file.path);
  uint32_t new_end = 0;
  uint32_t new_start = predicted_start;
  uint32_t last_entry = VESK_GHEADER_SIZE;
  if (vesk_ghdr_recovery_second_pass(fd, predicted_start, file.size, file.max_size, &reason,
                                     &new_end, &new_start, &last_entry, entry_count) != 0) {
    VESK_ERROR("ERROR: vesk_ghdr_recovery_second_pass returned error %dfor %s \n", reason,
               file.path);
    return outcome::given_up;
  }
  VESK_TRACE("TRACE:File %s ghdr recovery was successful \n", file.path);
  write_gheader(fd, new_start, new_end, file.max_size);
  return outcome::repaired;
}

outcome repair_entries(int32_t fd, const marked_file &file) {
  const uint32_t start = file.header.start;
  const uint32_t end = file.header.end;
  const uint32_t max = file.header.max;
  uint32_t reason = 0;
  uint32_t new_start = start;
  uint32_t last_entry = VESK_GHEADER_SIZE;
  if (vesk_ehdr_recovery(fd, start, end, max, &reason, &new_start, &last_entry) != 0) {
    VESK_ERROR("ERROR: eheader file recovery returned error %d. for %s\n", reason, file.path);
    return outcome::given_up;
  }
  VESK_TRACE("TRACE:File %s recovery was successful \n", file.path);
  if (new_start != start) write_gheader(fd, new_start, end, max);
  return outcome::repaired;
}

outcome recover(uint32_t file_type, int32_t fd, marked_file *file) {
  if (read_gheader(fd, file) != 0) return outcome::given_up;
  if (check_gheader_fits(*file) != 0) return outcome::given_up;
  if (file_type == VESK_KERNEL_LOG || file_type == VESK_KERNEL_BIG_LOG) return outcome::sweep_ends;
  VESK_TRACE("TRACE:Going to recover corrupted file %s.\n", file->path);
  return vesk_file_sanity[file_type] == VESK_SANITY_CORRUPT ? rebuild_gheader(fd, *file)
                                                            : repair_entries(fd, *file);
}

// False when the sweep ends here.
bool sweep_type(uint32_t file_type) {
  marked_file file;
  if (vesk_get_file_info(file_type, &file.max_size, &file.size, file.path) != 0) {
    VESK_ERROR("ERROR: construct filename failed for file type %d\n", file_type);
    return true;
  }
  vesk::unique_fd fd(open(file.path, O_RDWR, 0644));
  if (!fd) {
    VESK_ERROR("ERROR: Open of %s failed with errno %d.\n", file.path, errno);
    vesk_remove_file(file.path);
    return true;
  }
  switch (recover(file_type, fd.get(), &file)) {
    case outcome::repaired:
      return true;
    case outcome::given_up:
      fd.close();
      vesk_remove_file(file.path);
      VESK_ERROR("ERROR: Removing file %s.\n", file.path);
      return true;
    case outcome::sweep_ends:
      fd.release();  // left open on purpose
      return false;
  }
  return true;
}

}  // namespace

int32_t vesk_recover_corrupted_files(void) {
  if (bootflash_failure_flag != 0) {
    VESK_ERROR("ERROR: Cannot recover vesk file due to bootflash failure.\n");
    return -1;
  }
  runctl_heartbeat(1);
  for (uint32_t type = 0; type < VESK_MAX_FILE_TYPES; ++type) {
    if (vesk_file_sanity[type] == VESK_SANITY_CLEAN) continue;
    if (!sweep_type(type)) break;
    vesk_file_sanity[type] = VESK_SANITY_CLEAN;
  }
  runctl_heartbeat(0);
  return 0;
}
