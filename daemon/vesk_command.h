// The control commands: enable, disable or clear the logging of one file type or of all.
#pragma once

#include <cstdint>

#include "platform/ipq.h"

extern "C" {

// Applies the command and answers the sender. Returns -1 when the message has no payload (there is
// no answer then) or when an enable was refused because the flash has failed, else 0; every other
// failure shows in the answer alone.
int32_t vesk_do_vesk_command(ipq_msg *msg);

// Removes the type's log file. 0 when its removal was started or it was never there, else -1.
int32_t vesk_clear_file(uint16_t file_type);

}  // extern "C"
