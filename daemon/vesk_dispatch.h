// Where each message goes.
#pragma once

#include <cstdint>

extern "C" {

// Receives exactly one message and handles it. Returns -1 when receiving failed, else the result of
// the handler, 0 when there was nothing to handle.
int32_t vesk_dispatch_msg(void);

}  // extern "C"
