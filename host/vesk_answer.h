// What goes back to the sender of a message.
#pragma once

#include <cstdint>

#include "host/vesk_message.h"
#include "host/vesk_wire_check.h"

namespace vesk {

// Sends an answer or a receipt, as `flags` says, and notes that the message is answered. 0, or -1
// with errno and a line on standard error: EDESTADDRREQ when the sender has no address.
int32_t answer(message &msg, uint16_t flags, uint32_t opcode, const void *payload, uint32_t length);

// Counts and logs that the message is refused, and reports the reason to a sender that can
// understand it.
void refuse(message &msg, refusal why);

}  // namespace vesk
