// The one way out: everything that the daemon sends goes through here, and nothing of it waits.
#pragma once

#include <cstdint>

#include "host/vesk_message.h"
#include "host/vesk_wire_check.h"

namespace vesk {

// The service uuid that stands as the source in what is sent.
void set_source(uint32_t uuid);

// Sends an answer or a receipt, as `flags` says, and notes that the message is answered. 0, or -1
// with errno and a line on standard error: EDESTADDRREQ when the sender has no address, EAGAIN when
// its queue is full.
int32_t answer(message &msg, uint16_t flags, uint32_t opcode, const void *payload, uint32_t length);

// Counts and logs that the message is refused, and reports the reason to a sender that can
// understand it.
void refuse(message &msg, refusal why);

// Sends a copy to every listener: each is a socket that a program bound in the listeners'
// directory. One with a full queue misses this one; the sockets of dead ones are removed. Having no
// listener is no failure.
void send_to_listeners(uint32_t opcode, const void *payload, uint32_t length);

}  // namespace vesk
