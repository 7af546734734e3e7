#include "store/vesk_entry.h"

#include <sys/time.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "format/vesk_checksum.h"
#include "format/vesk_ring.h"
#include "store/vesk_fs_io.h"
#include "store/vesk_log.h"

namespace {

// The data of null entries, and all padding. Large enough for a null entry of any 16-bit size.
constexpr std::array<uint8_t, 65536> zero_block{};

// Counts are compared unsigned: -1 is huge, and passes for a complete write.
bool fell_short(int32_t count, uint32_t wanted) {
  return static_cast<uint32_t>(count) < wanted;
}

vesk_ehdr header_of(const vesk_log_req &record, uint16_t prev_size) {
  vesk_ehdr hdr{};
  hdr.uuid = record.uuid;
  hdr.type = record.type;
  hdr.size = static_cast<uint16_t>(vesk::padded(record.len));
  hdr.flags = record.flags;
  hdr.prev_size = static_cast<uint16_t>(vesk::padded(prev_size));
  hdr.secs = record.secs;
  hdr.usecs = record.usecs;
  vesk::set_checksum(hdr);
  return hdr;
}

int32_t write_header(int32_t fd, const vesk_log_req &record, uint16_t prev_size,
                     uint32_t *error_code) {
  const vesk_ehdr hdr = header_of(record, prev_size);
  const int32_t count = vesk_write_fs(fd, &hdr, VESK_EHDR_SIZE);
  if (!fell_short(count, VESK_EHDR_SIZE)) return 0;
  VESK_ERROR("ERROR: Write failed ret %d ehdr entry type %d. errno %d.", count,
             uint16_t{record.type}, errno);
  *error_code = VESK_ERR_WRITE;
  return -1;
}

// Unlike the header and the padding, data compare signed, so that -1 fails. A short count that
// covers a header's length leaves the code to the caller.
int32_t write_data(int32_t fd, const vesk_log_req &record, uint32_t *error_code) {
  const uint16_t len = record.len;
  const uint16_t type = record.type;
  const void *data = type == VESK_NULL_ENTRY_TYPE ? static_cast<const void *>(zero_block.data())
                                                  : static_cast<const void *>(&record + 1);
  const int32_t count = vesk_write_fs(fd, data, len);
  if (count >= len) return 0;
  VESK_ERROR("ERROR: Write failed etype %d len %d errno %d.", type, len, errno);
  if (fell_short(count, VESK_EHDR_SIZE)) {
    *error_code = VESK_ERR_WRITE;
  } else if (count == -1 && (errno == ENOSPC || errno == EFAULT)) {
    *error_code = VESK_ERR_NO_SPACE;
  }
  return -1;
}

// The text's "len" is the number of pad bytes, not that of the data.
int32_t write_padding(int32_t fd, const vesk_log_req &record, uint32_t *error_code) {
  const uint32_t pad = vesk::pad_bytes(record.len);
  if (pad == 0) return 0;
  const int32_t count = vesk_write_fs(fd, zero_block.data(), pad);
  if (!fell_short(count, pad)) return 0;
  VESK_ERROR("ERROR: Persistent Logger : write failed to align etype %d len %d, errno %d.",
             uint16_t{record.type}, pad, errno);
  *error_code = VESK_ERR_WRITE;
  return -1;
}

}  // namespace

int32_t vesk_add_entry(int32_t fd, int32_t offset, const vesk_log_req *record, uint16_t prev_size,
                       uint32_t *error_code) {
  if (!vesk::seek_to(fd, static_cast<uint32_t>(offset))) {
    VESK_ERROR("ERROR: lseek failed to seek %d, errno = %d", offset, errno);
    if (errno == EINVAL) *error_code = VESK_ERR_ENTRY_SEEK;
    return -1;
  }
  if (write_header(fd, *record, prev_size, error_code) != 0) return -1;
  if (record->len == 0) return 0;
  if (write_data(fd, *record, error_code) != 0) return -1;
  return write_padding(fd, *record, error_code);
}

int32_t vesk_add_null_entry(int32_t fd, int32_t offset, uint16_t size, uint16_t prev_size,
                            uint32_t *error_code) {
  timeval now;
  if (gettimeofday(&now, nullptr) != 0) {
    VESK_ERROR("ERROR: gettimeofday() failed with errno %d.", errno);
    return -1;
  }
  vesk_log_req record{};
  record.uuid = VESK_OWN_UUID;
  record.type = VESK_NULL_ENTRY_TYPE;
  record.len = size;
  record.secs = static_cast<uint32_t>(now.tv_sec);
  record.usecs = static_cast<uint32_t>(now.tv_usec);
  return vesk_add_entry(fd, offset, &record, prev_size, error_code);
}

vesk_gheader vesk::make_gheader(uint32_t start, uint32_t end, uint32_t max, uint8_t version) {
  vesk_gheader header{};
  std::memcpy(header.magic, VESK_MAGIC, sizeof header.magic);
  header.version = version;
  header.max = max;
  header.start = start;
  header.end = end;
  set_checksum(header);
  return header;
}

int32_t vesk_update_gheader(int32_t fd, uint32_t start, uint32_t end, uint32_t max,
                            uint8_t version) {
  const vesk_gheader header = vesk::make_gheader(start, end, max, version);
  if (!vesk::seek_to(fd, 0)) {
    VESK_ERROR("ERROR: lseek failed to seek %d, errno = %d", 0, errno);
    return -1;
  }
  const int32_t count = vesk_write_fs(fd, &header, VESK_GHEADER_SIZE);
  if (!fell_short(count, VESK_GHEADER_SIZE)) return 0;
  VESK_ERROR("ERROR: Writing the gheader failed. errno %d.", errno);
  return -1;
}
