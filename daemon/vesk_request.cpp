#include "daemon/vesk_request.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "base/vesk_fd.h"
#include "format/vesk_catalogue.h"
#include "format/vesk_ring.h"
#include "store/vesk_append.h"
#include "store/vesk_entry.h"
#include "store/vesk_file_info.h"
#include "store/vesk_flash.h"
#include "store/vesk_log.h"
#include "store/vesk_state.h"

namespace {

struct log_file {
  char path[VESK_PATH_SIZE];
  uint32_t max_size;
  bool exists;
  uint32_t size;
};

// Whether a file can still be trusted after an append that failed with this code.
constexpr bool keeps_file(uint32_t error_code) {
  switch (error_code) {
    case VESK_ERR_WRITE:
    case VESK_ERR_NO_SPACE:
    case VESK_ERR_GHEADER_SEEK:
    case VESK_ERR_HEADER_READ:
    case VESK_ERR_ENTRY_SEEK:
      return true;
    default:
      return false;
  }
}

void remove_untrusted(const log_file &file) {
  vesk_remove_file(file.path);
  VESK_ERROR("ERROR: %s was removed due to errors", file.path);
}

// The enable state comes before the rest of the record, so that a disabled type is quiet whatever
// is sent to it.
int32_t check_record(const vesk_log_req &record) {
  const uint16_t file_type = record.file_type;
  const uint16_t type = record.type;
  if (file_type == 0 || file_type > VESK_MAX_REQ_FILE_TYPE) {
    VESK_ERROR("ERROR: Not a valid file type %d", file_type);
    return -1;
  }
  if (vesk_file_state[file_type] == VESK_LOGGING_DISABLED) {
    VESK_TRACE("TRACE:Dropping the entry because File Type %d is Disabled formodule %d", file_type,
               vesk_module_id);
    return -1;
  }
  if (type < VESK_MIN_OBJECT_TYPE) {
    VESK_ERROR("ERROR: Unknown object type %d requested.", type);
    return -1;
  }
  if (record.len == 0) {
    VESK_ERROR("ERROR: Zero length for obj %d", type);
    return -1;
  }
  if (record.uuid == 0 || record.uuid > VESK_MAX_UUID) {
    VESK_ERROR("ERROR:  UUID out of range cannot get file name \n ");
    return -1;
  }
  return 0;
}

int32_t find_log_file(const vesk_log_req &record, log_file *file) {
  const uint16_t file_type = record.file_type;
  const vesk_catalogue_row *row = vesk::find_file(file_type);
  if (row == nullptr) return -1;
  // Such a record would cost a small file its contents before it failed.
  if (vesk::space_for(record.len) > row->max_size - VESK_GHEADER_SIZE) {
    VESK_ERROR("ERROR: Record of %d bytes can't fit in file type %d of %d bytes",
               uint16_t{record.len}, file_type, row->max_size);
    return -1;
  }
  vesk::log_path(*row, file->path);
  file->max_size = row->max_size;
  return 0;
}

int32_t take_status(log_file *file) {
  struct stat st;
  if (vesk_stat_fs(file->path, &st) != 0) {
    if (errno == EIO) vesk_remount_fs();
    VESK_ERROR("ERROR: Error acquiring status for %s, errno %d", file->path, errno);
    if (errno != EIO && errno != ENOENT) return -1;
    file->exists = false;
    file->size = 0;
    return 0;
  }
  if (!S_ISREG(st.st_mode)) {
    VESK_ERROR("ERROR: %s exists, but not a regular file.", file->path);
    return -1;
  }
  file->exists = true;
  file->size = vesk::size_of_file(st);
  if (file->size < VESK_GHEADER_SIZE) {
    VESK_ERROR("ERROR: %s exists, but too small or corrupt.", file->path);
    remove_untrusted(*file);
    return -1;
  }
  return 0;
}

vesk::unique_fd open_log_file(const log_file &file, uint8_t sync) {
  int flags = O_RDWR | O_CREAT;
  if (sync == VESK_SYNC_FLASH) {
    flags |= O_DSYNC;
    VESK_ERROR("ERROR: For %s resp needed with SYNC flags %x.", file.path,
               static_cast<unsigned>(flags));
  }
  vesk::unique_fd fd(open(file.path, flags, 0644));
  if (!fd) {
    VESK_ERROR("ERROR: Open of %s failed with errno %d.", file.path, errno);
    if (errno == EIO) vesk_remount_fs();
  }
  return fd;
}

// Appends the record, behind a fresh global header where the file is new.
int32_t store_record(int32_t fd, const vesk_log_req &record, log_file *file, uint32_t *error_code) {
  if (!file->exists) {
    if (vesk_update_gheader(fd, VESK_GHEADER_SIZE, VESK_GHEADER_SIZE, file->max_size,
                            VESK_VERSION) != 0) {
      VESK_ERROR("ERROR: Failed to create a global header.");
      return -1;
    }
    file->size = VESK_GHEADER_SIZE;
  }
  const int32_t result = vesk_append(fd, &record, file->size, file->max_size, error_code);
  if (result != 0) VESK_ERROR("ERROR: vesk append failed \n");
  return result;
}

}  // namespace

int32_t vesk_do_vesk(const vesk_log_req *record) {
  uint32_t error_code = VESK_ERR_NONE;
  log_file file;
  if (check_record(*record) != 0) return -1;
  if (find_log_file(*record, &file) != 0) return -1;
  if (take_status(&file) != 0) return -1;

  vesk::unique_fd fd = open_log_file(file, record->sync);
  if (!fd) return -1;
  const int32_t result = store_record(fd.get(), *record, &file, &error_code);
  if (fd.close() != 0) {
    VESK_ERROR("ERROR: close failed errno %d", errno);
    return -1;
  }
  if (result != 0 && !keeps_file(error_code)) remove_untrusted(file);
  return result;
}
