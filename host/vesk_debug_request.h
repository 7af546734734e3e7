// What an operator may ask of a running process: other debug levels, and the event history.
#pragma once

#include <cstdint>

#include "host/vesk_message.h"

namespace vesk {

// Serves a debug request and answers it; false when the message is none.
[[nodiscard]] bool serve_debug_request(message &msg);

}  // namespace vesk
