#include "recovery/vesk_recover.h"

#include <fcntl.h>

#include <cerrno>

#include "base/vesk_fd.h"
#include "format/vesk_format.h"
#include "platform/runctl.h"
#include "recovery/vesk_repair.h"
#include "store/vesk_file_info.h"
#include "store/vesk_flash.h"
#include "store/vesk_log.h"
#include "store/vesk_state.h"

namespace {

using vesk::file_fate;

// False when the sweep ends here.
bool sweep_type(uint32_t file_type) {
  vesk::file_info file;
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
  const uint32_t mark = vesk_file_sanity[file_type];
  const file_fate fate = vesk::repair_file(file_type, mark, fd.get(), file);
  if (fate == file_fate::stay_marked) {
    fd.release();  // left open on purpose
    return false;
  }
  if (fate == file_fate::remove) {
    fd.close();
    vesk_remove_file(file.path);
    VESK_ERROR("ERROR: Removing file %s.\n", file.path);
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
