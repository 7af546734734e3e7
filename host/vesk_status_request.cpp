#include "host/vesk_status_request.h"

#include <unistd.h>

#include "host/vesk_answer.h"
#include "host/vesk_clock.h"
#include "host/vesk_counters.h"

namespace vesk {
namespace {

uint64_t refused(refusal why) {
  return counters.refused[static_cast<size_t>(why)];
}

vesk_wire_status status_now() {
  vesk_wire_status status{};
  status.version = VESK_WIRE_STATUS_VERSION;
  status.pid = static_cast<uint32_t>(getpid());
  status.uptime_usecs = monotonic_usecs() - service_began;
  status.received = counters.received;
  status.refused_bad_version = refused(refusal::bad_version);
  status.refused_bad_length = refused(refusal::bad_length);
  status.refused_not_permitted = refused(refusal::not_permitted);
  status.refused_bad_request = refused(refusal::bad_request);
  status.dropped_not_ours = refused(refusal::not_ours);
  status.dropped_came_back = refused(refusal::came_back);
  status.answered = counters.answered;
  status.unanswered = counters.unanswered;
  status.listeners_reached = counters.listeners_reached;
  status.listeners_missed = counters.listeners_missed;
  return status;
}

}  // namespace

void serve_status_request(message &msg) {
  if (msg.header.opcode != VESK_WIRE_OPC_STATUS) return;
  msg.served = true;
  if (msg.header.length != 0) {
    refuse(msg, refusal::bad_request);
    return;
  }
  const vesk_wire_status status = status_now();
  answer(msg, VESK_WIRE_ANSWER, 0, &status, sizeof status);
}

}  // namespace vesk
