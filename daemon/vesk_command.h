// The control commands: enable, disable or clear the logging of one file type or of all.
#pragma once

#include <cstdint>

#include "platform/ipq.h"

extern "C" {

// Applies the command and answers the sender. Returns -1 when the message has no payload (there is
// no answer then) or when an enable was refused because the flash has failed, else 0; every other
// failure shows in the answer alone.
int32_t vesk_do_vesk_command(ipq_msg *msg);

// Starts the removal of the type's log file. -1 when the catalogue has no such type, the flash has
// failed, or the path is no regular file; else 0, also when the file's status cannot be had.
int32_t vesk_clear_file(uint16_t file_type);

}  // extern "C"
