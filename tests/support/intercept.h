// Calls that the linker leads here first: recorded like a call of the platform, and answered from
// the same script. sigaction() for SIGTERM, signal(), select(), rmdir() and sync() do nothing else.
#pragma once

#include <cstdint>
#include <functional>

#include "format/vesk_format.h"

namespace vesk::test {

// Called in place of vesk_append() when set.
extern std::function<int32_t(int32_t fd, const vesk_log_req *record, uint32_t file_size,
                             uint32_t max_size, uint32_t *error_code)>
    append_instead;

}  // namespace vesk::test
