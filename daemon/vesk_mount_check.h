// The mount that a software upgrade leaves to be made.
#pragma once

#include <cstdint>

extern "C" {

extern uint32_t mount_check_pending;  // 1 until the check was made for good
extern uint32_t issu_seen;            // 1 when an earlier check saw the upgrade image

// While the upgrade image exists, notes that it does. The first time it does not, starts the mount
// program if the image was seen before, and never looks again.
void vesk_check_issu_mount(void);

}  // extern "C"
