// The files of the flash: those of the chip's directory, except for what the plan does to the
// calls.
#pragma once

#define FUSE_USE_VERSION 35
#include <fuse3/fuse.h>
#include <fuse3/fuse_lowlevel.h>

#include "tests/flash/flash_plan.h"

namespace vesk::test {

// Called with each request before it is processed. The library looks a name up as if its status was
// asked for; the kernel repeats a look-up that fails, so that such a failure would not be one of a
// certain call. So only a request for the status counts as a call.
void note_request(const fuse_buf &request);

// Serves files under this plan. No call is kept away from it by a cache.
fuse_operations flash_operations(flash_plan *plan);

}  // namespace vesk::test
