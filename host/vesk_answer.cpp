#include "host/vesk_answer.h"

#include <array>
#include <cerrno>
#include <cstring>

#include "base/vesk_errno.h"
#include "host/vesk_clock.h"
#include "host/vesk_counters.h"
#include "host/vesk_outbox.h"
#include "host/vesk_rate_limit.h"
#include "host/vesk_stderr.h"

namespace vesk {
namespace {

std::array<rate_limit, refusal_count> refusal_lines;
rate_limit unanswered_lines;

void report_refusal(const message &msg, refusal why) {
  const auto left_out = refusal_lines[static_cast<size_t>(why)].pass(monotonic_usecs());
  if (!left_out) return;
  complain(priority::warning,
           "vesk host: refused opcode %u from process %d of user %u: %s (%u more not shown)",
           msg.header.opcode, msg.sender.pid, msg.sender.uid, refusal_text(why), *left_out);
}

void report_unanswered(const message &msg) {
  const auto left_out = unanswered_lines.pass(monotonic_usecs());
  if (!left_out) return;
  const char *reason = errno == EAGAIN ? "it does not read its answers" : std::strerror(errno);
  complain(priority::warning,
           "vesk host: no answer to opcode %u reaches process %d of user %u: %s "
           "(%u more not shown)",
           msg.header.opcode, msg.sender.pid, msg.sender.uid, reason, *left_out);
}

int32_t send_back(const message &msg, uint16_t flags, uint32_t opcode, const void *payload,
                  uint32_t length) {
  if (!has_address(msg)) {
    errno = EDESTADDRREQ;
    return -1;
  }
  const vesk_wire_header header = make_header(flags, opcode, msg.header.sequence, length);
  return send_datagram(msg.address, msg.address_length, header, payload);
}

}  // namespace

int32_t answer(message &msg, uint16_t flags, uint32_t opcode, const void *payload,
               uint32_t length) {
  if (send_back(msg, flags, opcode, payload, length) == 0) {
    msg.answered = true;
    ++counters.answered;
    return 0;
  }
  const errno_keeper keeper;
  ++counters.unanswered;
  report_unanswered(msg);
  return -1;
}

void refuse(message &msg, refusal why) {
  ++counters.refused[static_cast<size_t>(why)];
  report_refusal(msg, why);
  if (!is_reported(why)) return;
  const auto reason = static_cast<uint32_t>(why);
  if (send_back(msg, VESK_WIRE_REFUSED, 0, &reason, sizeof reason) != 0) ++counters.unanswered;
  msg.answered = true;  // there is no receipt for what was refused
}

}  // namespace vesk
