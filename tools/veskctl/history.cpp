// veskctl history: what the daemon has recorded of its own doings.
#include <algorithm>
#include <cstdio>
#include <span>

#include "protocol/vesk_levels.h"
#include "protocol/vesk_wire.h"
#include "tools/veskctl/daemon.h"
#include "tools/veskctl/output.h"
#include "tools/veskctl/subcommands.h"

namespace vesk::veskctl {
namespace {

std::string what_happened(const event &e) {
  switch (e.head.kind) {
    case VESK_WIRE_RECEIVED:
      return "received message " + std::to_string(e.head.opcode);
    case VESK_WIRE_SENT:
      return "sent message " + std::to_string(e.head.opcode);
    case VESK_LEVEL_TRACE:
      return "trace " + printable(e.text);
    case VESK_LEVEL_ERROR:
      return "error " + printable(e.text);
    default:
      return "kind " + std::to_string(e.head.kind) + ' ' + printable(e.text);
  }
}

}  // namespace

int history(const options &wanted) {
  const client_ptr client = open_client(wanted);
  if (!client) return 1;
  std::vector<event> events;
  const auto code = fetch_events(*client, events);
  if (code != VESK_CLIENT_OK) return status_of(failure_of(*client, code));
  const size_t newest = wanted.newest != 0 ? wanted.newest : events.size();
  for (const event &e : std::span(events).last(std::min(newest, events.size()))) {
    std::printf("%s %s\n", time_text(e.head.secs, e.head.usecs).c_str(), what_happened(e).c_str());
  }
  return 0;
}

}  // namespace vesk::veskctl
