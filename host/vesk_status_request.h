// What anybody who may send may ask: whether the process serves its queue, and what came and went.
#pragma once

#include "host/vesk_message.h"

namespace vesk {

// Answers a status request, or refuses one with a payload, and notes that it is served; leaves
// every other message alone.
void serve_status_request(message &msg);

}  // namespace vesk
