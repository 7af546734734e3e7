// The daemon's event history, as the host hands it out.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "client/vesk_client.h"

namespace vesk::ctl {

enum event_kind : uint16_t {
  message_received = 3,
  message_sent = 4,
  trace_line = 100,
  error_line = 101,
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

}  // namespace vesk::ctl
