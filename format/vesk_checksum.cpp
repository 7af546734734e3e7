#include "format/vesk_checksum.h"

#include <cstring>

int32_t vesk_check_gheader(const vesk_gheader *header) {
  const bool magic = std::memcmp(header->magic, VESK_MAGIC, sizeof header->magic) == 0;
  return magic && vesk::checksum_holds(*header) ? 0 : -1;
}
