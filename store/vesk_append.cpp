#include "store/vesk_append.h"

#include <algorithm>
#include <cerrno>

#include "format/vesk_checksum.h"
#include "format/vesk_ring.h"
#include "store/vesk_entry.h"
#include "store/vesk_fs_io.h"
#include "store/vesk_log.h"
#include "store/vesk_make_space.h"
#include "store/vesk_state.h"
#include "store/vesk_update.h"

namespace {

constexpr int32_t min_space = 4096;  // so that a full file does not walk its oldest on every append

// The ring as its global header says, and the job at hand.
struct append_job {
  int32_t fd;
  const vesk_log_req &record;
  uint32_t start;
  uint32_t end;
  uint32_t max;
  uint32_t space;  // the room that the record needs
  uint32_t *error_code;
};

// Where the entry goes.
struct entry_place {
  uint32_t lastentry;
  uint16_t prev_size;
};

int32_t read_gheader(int32_t fd, vesk_gheader *header, uint32_t *error_code) {
  if (!vesk::seek_to(fd, 0)) {
    VESK_ERROR("ERROR: lseek failed to seek %d, errno = %d", 0, errno);
    if (errno == EBADF) *error_code = VESK_ERR_GHEADER_SEEK;
    return -1;
  }
  const int32_t count = vesk_read_fs(fd, header, VESK_GHEADER_SIZE);
  if (count < static_cast<int32_t>(VESK_GHEADER_SIZE)) {
    VESK_ERROR("ERROR: ghdr read fails errno %d.", errno);
    if (count == -1 && errno == EFAULT) *error_code = VESK_ERR_HEADER_READ;
    return -1;
  }
  if (vesk_check_gheader(header) != 0) {
    VESK_ERROR("ERROR: ghdr may be corrupt %d", errno);  // errno means nothing here
    return -1;
  }
  return 0;
}

int32_t check_ring(const append_job &job, uint32_t file_size, uint32_t max_size) {
  if (job.start > job.max || job.end > job.max) {
    VESK_ERROR("ERROR: start %d or end %d cant more than max %d ?", job.start, job.end, job.max);
    return -1;
  }
  if (job.start > job.end && file_size != max_size) {
    VESK_ERROR(
        "ERROR: File already wrapped but file size %d is not equal to the max size %d start %d end "
        "%d ftype %d",
        file_size, max_size, job.start, job.end, uint16_t{job.record.file_type});
    return -1;
  }
  return 0;
}

int32_t make_space(append_job &job) {
  const int32_t nspace = std::max(static_cast<int32_t>(job.space), min_space);
  // A sender that waits for the flash never has damage stepped over on its behalf.
  const bool skip_bad = job.record.sync != VESK_SYNC_FLASH;
  if (vesk_make_space(job.fd, job.max, &job.start, nspace, skip_bad, job.error_code) != 0) {
    VESK_ERROR("ERROR: Cannot make space for the new entry");
    return -1;
  }
  return 0;
}

// Covers the file's tail with a null entry, so that the ring goes on at the first slot.
int32_t wrap(const append_job &job, entry_place *place) {
  const uint16_t null_size = static_cast<uint16_t>(job.max - job.end - VESK_EHDR_SIZE);
  if (vesk_add_null_entry(job.fd, static_cast<int32_t>(job.end), null_size, 0, job.error_code) !=
      0) {
    VESK_ERROR("ERROR: Failed to add a null entry at the end.");
    return -1;
  }
  VESK_TRACE("TRACE:No space at the end.Added null entry and wrapped. end %d\n", VESK_GHEADER_SIZE);
  *place = {.lastentry = VESK_GHEADER_SIZE, .prev_size = null_size};
  return 0;
}

// Makes room where the entry would run into the oldest ones or over the file's end.
int32_t find_place(append_job &job, entry_place *place) {
  bool made = false;
  if (job.end < job.start && job.space > job.start - job.end) {
    VESK_TRACE("TRACE:File already wrapped. Space needed %d", job.space);
    if (make_space(job) != 0) return -1;
    VESK_TRACE("TRACE:No space, made some. New start %d\n", job.start);
    made = true;
  }
  if (job.space > job.max - job.end) {
    VESK_TRACE("TRACE:File reaching end need space. %d", job.space);
    if (!made && make_space(job) != 0) return -1;
    return wrap(job, place);
  }
  *place = {.lastentry = job.end, .prev_size = 0};
  return 0;
}

void count_entry(const vesk_log_req &record) {
  vesk_uuid_stat &row = vesk_uuid_stat_table[record.uuid];
  row.entry_count += 1;
  row.byte_count += vesk::entry_span(vesk::padded(record.len));
}

int32_t append_entry(append_job &job) {
  const uint16_t file_type = job.record.file_type;
  VESK_TRACE("TRACE:Before: start %d end %d max %d lastentry %d space %d file_type %d\n", job.start,
             job.end, job.max, VESK_GHEADER_SIZE, job.space, file_type);
  entry_place place;
  if (find_place(job, &place) != 0) return -1;
  if (vesk_add_entry(job.fd, static_cast<int32_t>(place.lastentry), &job.record, place.prev_size,
                     job.error_code) != 0) {
    VESK_ERROR("ERROR: Failed to add the new entry.");
    return -1;
  }
  count_entry(job.record);  // and it stays counted, whatever becomes of the global header

  const uint32_t new_end = place.lastentry + vesk::entry_span(vesk::padded(job.record.len));
  if (vesk_update_gheader(job.fd, job.start, new_end, job.max, VESK_VERSION) != 0) {
    VESK_ERROR("ERROR: Updating of the global header failed.");
    return -1;
  }
  VESK_TRACE("TRACE:After: start %d end %d max %d lastentry %d space %d file_type %d\n", job.start,
             new_end, job.max, place.lastentry, job.space, file_type);
  return 0;
}

}  // namespace

int32_t vesk_append(int32_t fd, const vesk_log_req *record, uint32_t file_size, uint32_t max_size,
                    uint32_t *error_code) {
  if (file_size > max_size) {
    VESK_ERROR("ERROR: File size %d is greater than the max size %d for ftype %d", file_size,
               max_size, uint16_t{record->file_type});
    return -1;
  }
  vesk_gheader header;
  if (read_gheader(fd, &header, error_code) != 0) return -1;
  append_job job{.fd = fd,
                 .record = *record,
                 .start = header.start,
                 .end = header.end,
                 .max = header.max,
                 .space = vesk::space_for(record->len),
                 .error_code = error_code};
  if (check_ring(job, file_size, max_size) != 0) return -1;

  if (record->update == VESK_UPDATE_ENTRY) {
    uint8_t not_found = 0;
    const int32_t result =
        vesk_check_update_type(fd, job.start, job.end, job.max, record, &not_found, error_code);
    if (result != -1) return result;
    if (not_found != VESK_UPDATE_NOT_FOUND) return -1;
    VESK_TRACE("TRACE:Didn't find entry to update Going to append\n");
  }
  return append_entry(job);
}
