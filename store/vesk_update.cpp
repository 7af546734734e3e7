#include "store/vesk_update.h"

#include <cerrno>

#include "format/vesk_checksum.h"
#include "format/vesk_ring.h"
#include "store/vesk_entry.h"
#include "store/vesk_fs_io.h"
#include "store/vesk_log.h"
#include "store/vesk_probe.h"

namespace {

using vesk::probe;

int32_t report_seek(uint32_t offset, uint32_t *error_code) {
  VESK_ERROR("ERROR: lseek failed to seek %d, errno = %d", offset, errno);
  if (errno == EINVAL) *error_code = VESK_ERR_ENTRY_SEEK;
  return -1;
}

// Reads a header that has to be good. Damage is never stepped over here.
int32_t read_good_header(int32_t fd, uint32_t offset, vesk_ehdr *hdr, uint32_t *error_code) {
  const vesk::slot slot = vesk::probe_slot(fd, offset);
  switch (slot.found) {
    case probe::good:
      *hdr = slot.hdr;
      return 0;
    case probe::seek_failed:
      return report_seek(offset, error_code);
    case probe::short_read:
      VESK_ERROR("ERROR: ehdr read fails errno %d", errno);
      if (slot.got == -1 && errno == EFAULT) *error_code = VESK_ERR_HEADER_READ;
      return -1;
    case probe::bad_checksum:
      VESK_ERROR("ERROR: Bad ehdr at offset %d", offset);
      return -1;
  }
  return -1;
}

// The entry that an update replaces.
struct match {
  bool found = false;
  uint32_t offset = 0;
  uint16_t size = 0;
  uint16_t prev_size = 0;  // the size of the entry before it on the walk
};

// Walks the live entries. Without an instance, and where there are fewer than asked for, the last
// match stands.
int32_t find_match(int32_t fd, uint32_t start, uint32_t end, uint32_t max,
                   const vesk_log_req &record, match *chosen, uint32_t *error_code) {
  uint32_t offset = start;
  uint16_t walk_prev = VESK_EHDR_SIZE;  // 20 where the entry before is not known
  uint32_t matches = 0;
  bool wrapped = false;
  do {
    vesk_ehdr hdr;
    if (read_good_header(fd, offset, &hdr, error_code) != 0) return -1;
    if (hdr.uuid == record.uuid && hdr.type == record.type) {
      *chosen = {.found = true, .offset = offset, .size = hdr.size, .prev_size = walk_prev};
      ++matches;
      if (record.instance != 0 && record.instance == matches) return 0;
    }
    offset += vesk::entry_span(hdr.size);
    walk_prev = hdr.size;
    if (offset >= max) {
      if (wrapped) {
        VESK_ERROR("ERROR: File wrapping again curr %d", VESK_GHEADER_SIZE);
        return 0;
      }
      wrapped = true;
      walk_prev = VESK_EHDR_SIZE;
      offset = VESK_GHEADER_SIZE;
    }
  } while (offset != end);
  return 0;
}

}  // namespace

int32_t vesk_check_update_type(int32_t fd, uint32_t start, uint32_t end, uint32_t max,
                               const vesk_log_req *record, uint8_t *not_found,
                               uint32_t *error_code) {
  match chosen;
  if (start != end && find_match(fd, start, end, max, *record, &chosen, error_code) != 0) return -1;
  if (!chosen.found) {
    *not_found = VESK_UPDATE_NOT_FOUND;
    return -1;
  }
  if (static_cast<uint16_t>(vesk::padded(record->len)) > chosen.size) {
    VESK_ERROR("ERROR: Failed to update entry because size is bigger than entry.");
    *not_found = VESK_UPDATE_TOO_SMALL;
    return 0;  // the sender hears of a success: its entry is there, with the old contents
  }
  if (vesk_add_entry(fd, static_cast<int32_t>(chosen.offset), record, chosen.prev_size,
                     error_code) != 0) {
    VESK_ERROR("ERROR: Failed to update an entry at offset.");
    return -1;
  }
  return 0;
}

int32_t vesk_update_eheader(int32_t fd, uint32_t offset, uint16_t prev_size, uint32_t *error_code) {
  vesk_ehdr hdr;
  if (read_good_header(fd, offset, &hdr, error_code) != 0) return -1;
  hdr.prev_size = prev_size;
  hdr.checksum = vesk::complement_of_sum(hdr);  // over the old checksum word too, on purpose

  if (!vesk::seek_to(fd, offset)) return report_seek(offset, error_code);
  const int32_t count = vesk_write_fs(fd, &hdr, VESK_EHDR_SIZE);
  if (count >= static_cast<int32_t>(VESK_EHDR_SIZE)) return 0;
  VESK_ERROR("ERROR: Write failed ret %d errno %d.", count, errno);
  *error_code = VESK_ERR_WRITE;
  return -1;
}
