// Looking at one entry header: the step that every walk over a ring is made of.
#pragma once

#include <cstdint>

#include "format/vesk_format.h"

namespace vesk {

enum class probe : uint8_t { good, bad_checksum, seek_failed, short_read };

// What was found at an offset, told and not judged: nothing is logged. errno is as the failing call
// left it.
struct slot {
  probe found;
  int32_t got;    // what the seek (-1) or the read returned
  vesk_ehdr hdr;  // the header; meaningful when `found` is good or bad_checksum
};

// Seeks, reads 20 bytes, checks their sum.
slot probe_slot(int32_t fd, uint32_t offset);

}  // namespace vesk
