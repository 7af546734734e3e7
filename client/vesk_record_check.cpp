#include "client/vesk_record_check.h"

#include "format/vesk_catalogue.h"
#include "format/vesk_format.h"
#include "format/vesk_ring.h"
#include "protocol/vesk_messages.h"

namespace vesk::client {
namespace {

// Room is made by walking from the oldest entry, and the walk starts over when it passes the end of
// the file: it does not notice when it has discarded all there is.
constexpr bool is_large(uint32_t length, uint32_t capacity) {
  return length > capacity / 2;
}

vesk_client_code check_size(uint32_t length, uint32_t capacity, bool allow_large) {
  if (space_for(length) > capacity - VESK_GHEADER_SIZE) return VESK_CLIENT_TOO_LARGE_FOR_FILE;
  return is_large(length, capacity) && !allow_large ? VESK_CLIENT_LARGE : VESK_CLIENT_OK;
}

}  // namespace

vesk_client_code check_record(const vesk_client_record &record) {
  if (record.file_type == 0 || record.file_type > VESK_MAX_REQ_FILE_TYPE) {
    return VESK_CLIENT_BAD_FILE_TYPE;
  }
  const vesk_catalogue_row *file = find_file(record.file_type);
  if (file == nullptr) return VESK_CLIENT_NO_SUCH_FILE;
  if (record.uuid == 0 || record.uuid > VESK_MAX_UUID) return VESK_CLIENT_BAD_UUID;
  if (record.type < VESK_MIN_OBJECT_TYPE || record.type > UINT16_MAX) return VESK_CLIENT_BAD_TYPE;
  if (record.sync > VESK_CLIENT_SYNC_FLASH) return VESK_CLIENT_BAD_SYNC;
  if (record.length == 0) return VESK_CLIENT_EMPTY;
  if (record.length > VESK_MAX_RECORD) return VESK_CLIENT_TOO_LONG;
  if (record.data == nullptr) return VESK_CLIENT_BAD_ARGUMENT;
  return check_size(static_cast<uint32_t>(record.length), file->max_size, record.allow_large != 0);
}

}  // namespace vesk::client
