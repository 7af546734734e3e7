// The main loop.
#pragma once

extern "C" {

// One pass: waits for a message or a timer, serves every expired timer, then at most one message.
void vesk_loop_pass(void);

}  // extern "C"
