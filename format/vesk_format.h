// The format of a log file and of a log record: layouts, byte order, limits, code names.
//
// A log file is a ring of entries behind a 20-byte global header. An entry is a 20-byte header and
// its data, padded with zero bytes to a multiple of four, so that every header lies at a multiple
// of four. All multi-byte integers are big-endian; offsets and sizes are in bytes, offsets from the
// start of the file.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vesk {

// Big-endian fields: byte arrays, so that a layout has no padding and may lie at any address.
struct be16 {
  uint8_t b[2];

  constexpr operator uint16_t() const { return static_cast<uint16_t>(b[0] << 8 | b[1]); }
  constexpr be16 &operator=(uint16_t value) {
    b[0] = static_cast<uint8_t>(value >> 8);
    b[1] = static_cast<uint8_t>(value);
    return *this;
  }
};

struct be32 {
  uint8_t b[4];

  constexpr operator uint32_t() const {
    return uint32_t{b[0]} << 24 | uint32_t{b[1]} << 16 | uint32_t{b[2]} << 8 | uint32_t{b[3]};
  }
  constexpr be32 &operator=(uint32_t value) {
    b[0] = static_cast<uint8_t>(value >> 24);
    b[1] = static_cast<uint8_t>(value >> 16);
    b[2] = static_cast<uint8_t>(value >> 8);
    b[3] = static_cast<uint8_t>(value);
    return *this;
  }
};

}  // namespace vesk

constexpr uint32_t VESK_GHEADER_SIZE = 20;  // also the offset of the first entry slot
constexpr uint32_t VESK_EHDR_SIZE = 20;
constexpr uint32_t VESK_LOG_REQ_SIZE = 24;  // the head of a log record; its data follow

constexpr uint32_t VESK_DAMAGE_STEP = 4;  // walks step over damage by the alignment of headers

constexpr char VESK_MAGIC[] = {'v', 'e', 's', 'k'};
constexpr uint8_t VESK_VERSION = 1;
constexpr uint16_t VESK_OWN_UUID = 293;  // the daemon's own service uuid

// What a record may carry. The lowest uuid and file type are 1.
constexpr uint16_t VESK_MAX_UUID = 2736;
constexpr uint16_t VESK_MIN_OBJECT_TYPE = 1024;
constexpr uint16_t VESK_MAX_REQ_FILE_TYPE = 38;

constexpr uint32_t VESK_MAX_FILE_TYPES = 64;
constexpr uint16_t VESK_NULL_ENTRY_TYPE = 0;

// At offset 0 of every log file.
struct vesk_gheader {
  char magic[4];  // VESK_MAGIC
  uint8_t version;
  uint8_t reserved;
  vesk::be16 checksum;
  vesk::be32 max;    // capacity of the file
  vesk::be32 start;  // offset of the oldest live entry header
  vesk::be32 end;    // offset at which the next entry will be written
};

static_assert(sizeof(vesk_gheader) == VESK_GHEADER_SIZE && alignof(vesk_gheader) == 1);
static_assert(offsetof(vesk_gheader, magic) == 0 && offsetof(vesk_gheader, version) == 4);
static_assert(offsetof(vesk_gheader, reserved) == 5 && offsetof(vesk_gheader, checksum) == 6);
static_assert(offsetof(vesk_gheader, max) == 8 && offsetof(vesk_gheader, start) == 12);
static_assert(offsetof(vesk_gheader, end) == 16);

// In front of every entry.
struct vesk_ehdr {
  vesk::be16 uuid;  // of the sender
  vesk::be16 type;  // object type; 0 marks a null entry, which covers space without a live entry
  vesk::be16 size;  // of the data, padding included, cut to 16 bits
  vesk::be16 checksum;
  uint8_t flags;
  uint8_t reserved;
  vesk::be16 prev_size;  // of the entry before this one in the ring, where the writer knows it
  vesk::be32 secs;
  vesk::be32 usecs;
};

static_assert(sizeof(vesk_ehdr) == VESK_EHDR_SIZE && alignof(vesk_ehdr) == 1);
static_assert(offsetof(vesk_ehdr, uuid) == 0 && offsetof(vesk_ehdr, type) == 2);
static_assert(offsetof(vesk_ehdr, size) == 4 && offsetof(vesk_ehdr, checksum) == 6);
static_assert(offsetof(vesk_ehdr, flags) == 8 && offsetof(vesk_ehdr, reserved) == 9);
static_assert(offsetof(vesk_ehdr, prev_size) == 10 && offsetof(vesk_ehdr, secs) == 12);
static_assert(offsetof(vesk_ehdr, usecs) == 16);

// The unit that a client sends and that becomes an entry; `len` bytes of data follow the head.
struct vesk_log_req {
  vesk::be16 uuid;
  vesk::be16 type;
  vesk::be16 len;  // of the data, unpadded
  uint8_t flags;
  uint8_t update;  // VESK_UPDATE_ENTRY, or anything else to append
  vesk::be32 secs;
  vesk::be32 usecs;
  vesk::be16 file_type;
  uint8_t sync;  // VESK_SYNC_...
  uint8_t reserved;
  vesk::be32 instance;  // which matching entry an update replaces: 0 the last, n the n-th
};

static_assert(sizeof(vesk_log_req) == VESK_LOG_REQ_SIZE && alignof(vesk_log_req) == 1);
static_assert(offsetof(vesk_log_req, uuid) == 0 && offsetof(vesk_log_req, type) == 2);
static_assert(offsetof(vesk_log_req, len) == 4 && offsetof(vesk_log_req, flags) == 6);
static_assert(offsetof(vesk_log_req, update) == 7 && offsetof(vesk_log_req, secs) == 8);
static_assert(offsetof(vesk_log_req, usecs) == 12 && offsetof(vesk_log_req, file_type) == 16);
static_assert(offsetof(vesk_log_req, sync) == 18 && offsetof(vesk_log_req, reserved) == 19);
static_assert(offsetof(vesk_log_req, instance) == 20);

// vesk_log_req::update
constexpr uint8_t VESK_UPDATE_ENTRY = 1;

// vesk_log_req::sync; any other value asks for no answer.
constexpr uint8_t VESK_SYNC_NONE = 0;
constexpr uint8_t VESK_SYNC_ANSWER = 1;  // an answer is wanted
constexpr uint8_t VESK_SYNC_FLASH = 2;   // an answer is wanted, and the writes are synchronous

// What went wrong, as the store's operations hand it up through their last argument. They store a
// code only in the cases that their headers name and otherwise leave the caller's value.
constexpr uint32_t VESK_ERR_NONE = 0;
constexpr uint32_t VESK_ERR_WRITE = 1;         // a write fell short
constexpr uint32_t VESK_ERR_NO_SPACE = 2;      // no room on the flash, or none to be made
constexpr uint32_t VESK_ERR_NULL_ENTRY = 3;    // a null entry failed while making space
constexpr uint32_t VESK_ERR_GHEADER_SEEK = 4;  // bad descriptor under the global header
constexpr uint32_t VESK_ERR_HEADER_READ = 5;   // a header read failed with EFAULT
constexpr uint32_t VESK_ERR_ENTRY_SEEK = 6;    // an entry's offset was refused with EINVAL
