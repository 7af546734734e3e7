// Programs that want what the daemon sends to all bind a socket in the listeners' directory.
#pragma once

#include <cstdint>

namespace vesk {

// Sends a copy to every listener. One with a full queue misses this one; the sockets of dead ones
// are removed. Having no listener is no failure.
void send_to_listeners(uint32_t opcode, const void *payload, uint32_t length);

}  // namespace vesk
