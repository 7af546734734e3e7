// Starting up.
#pragma once

#include <cstdint>

extern "C" {

extern uint32_t vesk_restarted;  // non-zero: this process is a restart of an earlier one
extern uint32_t vesk_ctrl;       // 1: the log directory was missing at start

// Everything up to the first pass of the main loop. Returns 0, or the status to exit with
// (daemon/vesk_lifecycle.h).
int32_t vesk_start_up(void);

}  // extern "C"
