#include "store/vesk_probe.h"

#include "format/vesk_checksum.h"
#include "store/vesk_fs_io.h"

vesk::slot vesk::probe_slot(int32_t fd, uint32_t offset) {
  slot s{};
  if (!seek_to(fd, offset)) {
    s.found = probe::seek_failed;
    s.got = -1;
    return s;
  }
  s.got = vesk_read_fs(fd, &s.hdr, VESK_EHDR_SIZE);
  if (s.got < static_cast<int32_t>(VESK_EHDR_SIZE)) {
    s.found = probe::short_read;
  } else {
    s.found = checksum_holds(s.hdr) ? probe::good : probe::bad_checksum;
  }
  return s;
}
