// Reaching the daemon: a handle, what went wrong with a call, and what the daemon's host reports.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/vesk_failure.h"
#include "client/vesk_client.h"
#include "protocol/vesk_wire.h"
#include "tools/veskctl/options.h"

namespace vesk::veskctl {

struct close_client {
  void operator()(vesk_client *client) const { vesk_client_close(client); }
};
using client_ptr = std::unique_ptr<vesk_client, close_client>;

// The run directory that the command line names, for the library; null where it names none.
[[nodiscard]] const char *run_dir_of(const options &wanted);

// A handle for the daemon that the command line names; null, after a line on standard error, when
// that fails.
[[nodiscard]] client_ptr open_client(const options &wanted);

// How a call failed, for a person: what happened and what to do about it. To be called before
// anything else changes errno.
[[nodiscard]] failure failure_of(const vesk_client &client, vesk_client_code code);

// Whether nobody answered (those codes lie side by side): the next request would fare no better.
[[nodiscard]] constexpr bool out_of_reach(vesk_client_code code) {
  return code >= VESK_CLIENT_TIMED_OUT && code <= VESK_CLIENT_SYSTEM;
}

// Sends a request whose answer always has the same size.
template <typename Request, typename Answer>
failure ask(vesk_client &client, uint32_t opcode, const Request &request, Answer &answer) {
  size_t length = 0;
  const auto code = vesk_client_request(&client, opcode, &request, sizeof request, &answer,
                                        sizeof answer, &length);
  const bool other_size = code == VESK_CLIENT_OK && length != sizeof answer;
  return failure_of(client, other_size ? VESK_CLIENT_BAD_ANSWER : code);
}

// Asks for the status; `status` is written only for OK. UNANSWERED comes from a daemon that does
// not know the request.
[[nodiscard]] vesk_client_code fetch_host_status(vesk_client &client, vesk_wire_status &status);

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

// One event of the daemon's history.
struct event {
  vesk_wire_history head;
  std::string text;
};

// Fetches the history, oldest event first; `events` is written only for OK.
[[nodiscard]] vesk_client_code fetch_events(vesk_client &client, std::vector<event> &events);

}  // namespace vesk::veskctl
