#include "recovery/vesk_validate.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "base/vesk_fd.h"
#include "recovery/vesk_examine.h"
#include "recovery/vesk_gheader_check.h"
#include "recovery/vesk_recover.h"
#include "store/vesk_file_info.h"
#include "store/vesk_flash.h"
#include "store/vesk_log.h"
#include "store/vesk_state.h"

namespace {

using vesk::file_fate;

file_fate examine(uint32_t file_type, vesk::file_info *file) {
  if (vesk_get_file_info(file_type, &file->max_size, &file->size, file->path) != 0) {
    return file_fate::keep;
  }
  struct stat st;
  if (vesk_stat_fs(file->path, &st) != 0) return file_fate::keep;
  if (!S_ISREG(st.st_mode)) {
    VESK_ERROR("ERROR: %s exists, but not a regular file.\n", file->path);
    return file_fate::keep;
  }
  file->size = vesk::size_of_file(st);
  if (vesk::check_file_size(file->size)) {
    VESK_ERROR("ERROR: %s exists, but size is less than Gheader size.\n", file->path);
    return file_fate::remove;
  }
  const vesk::unique_fd fd(open(file->path, O_RDWR, 0644));
  if (!fd) {
    VESK_ERROR("ERROR: Open of %s failed with errno %d.\n", file->path, errno);
    return file_fate::remove;
  }
  return vesk::examine_contents(file_type, fd.get(), *file);
}

// Whether the type needs recovery.
bool validate_type(uint32_t file_type) {
  vesk::file_info file;
  const file_fate fate = examine(file_type, &file);
  if (fate == file_fate::stay_marked) return true;
  if (fate == file_fate::remove) vesk_remove_file(file.path);
  const bool marked = fate == file_fate::rebuild;
  vesk_file_sanity[file_type] = marked ? VESK_SANITY_CORRUPT : VESK_SANITY_CLEAN;
  return marked;
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
