// The daemon's event history, as the host hands it out.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "client/vesk_client.h"
#include "protocol/vesk_levels.h"
#include "protocol/vesk_wire.h"

namespace vesk::veskctl {

enum event_kind : uint16_t {
  message_received = VESK_WIRE_RECEIVED,
  message_sent = VESK_WIRE_SENT,
  trace_line = VESK_LEVEL_TRACE,
  error_line = VESK_LEVEL_ERROR,
};

struct event {
  uint32_t secs;
  uint32_t usecs;
  uint16_t kind;    // event_kind, or one that is not known
  uint32_t opcode;  // of a message
  std::string text;
};

// Fetches the history, oldest event first; `events` is written only for OK.
vesk_client_code fetch_events(vesk_client &client, std::vector<event> &events);

}  // namespace vesk::veskctl
