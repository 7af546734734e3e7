// What the daemon's host tells of itself.
#pragma once

#include "client/vesk_client.h"
#include "protocol/vesk_wire.h"

namespace vesk::veskctl {

// Asks for the status; `status` is written only for OK. UNANSWERED comes from a daemon that does
// not know the request.
vesk_client_code fetch_host_status(vesk_client &client, vesk_wire_status &status);

// What was refused or dropped, by reason, as it may be shown: a word for people, and one without
// blanks for programs.
struct refusal_count {
  const char *name;
  const char *label;
  uint64_t vesk_wire_status::*count;
};
inline constexpr refusal_count refusal_counts[] = {
    {"unknown version", "bad_version", &vesk_wire_status::refused_bad_version},
    {"wrong length", "bad_length", &vesk_wire_status::refused_bad_length},
    {"not permitted", "not_permitted", &vesk_wire_status::refused_not_permitted},
    {"wrong payload", "bad_request", &vesk_wire_status::refused_bad_request},
    {"no message", "not_ours", &vesk_wire_status::dropped_not_ours},
    {"no request", "came_back", &vesk_wire_status::dropped_came_back},
};

}  // namespace vesk::veskctl
