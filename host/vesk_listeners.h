// Whoever wants to hear what the daemon sends to all binds a socket in the listeners' directory.
#pragma once

#include <cstdint>

namespace vesk {

// Sends a copy to every listener. One that does not read its messages misses this one; the sockets
// of dead ones are removed. To have no listener is no failure.
void send_to_listeners(uint32_t opcode, const void *payload, uint32_t length);

}  // namespace vesk
