// One log request, from the record to its file.
#pragma once

#include <cstdint>

#include "format/vesk_format.h"

extern "C" {

// Checks the record, finds its file or creates it, and appends. Returns 0 when the record was
// stored, or taken care of by an update in place, else -1. A file whose append failed is removed
// unless the error code says that it can still be trusted; one that is too small for a global
// header is removed and the record dropped.
int32_t vesk_do_vesk(const vesk_log_req *record);

}  // extern "C"
