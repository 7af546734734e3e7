// The message service: the daemon's queue is a datagram socket.
#include <cerrno>

#include "host/vesk_access_point.h"
#include "host/vesk_answer.h"
#include "host/vesk_clock.h"
#include "host/vesk_counters.h"
#include "host/vesk_listeners.h"
#include "host/vesk_message.h"
#include "host/vesk_outbox.h"
#include "host/vesk_status_request.h"
#include "host/vesk_wire_check.h"
#include "platform/ipq.h"

namespace {

constexpr size_t bind_block_uuid = 3;  // which word of the bind block is the service's uuid

// How many refused datagrams one call passes over: enough that honest senders behind them are not
// held up, few enough that a flood of them does not keep the caller from its timers.
constexpr int passed_over = 16;

constexpr uint32_t sent_mark = 0x53454E54;  // in the last word of a sent message's handle

vesk::access_point queue;
int32_t last_errno;

int32_t fail(int32_t why) {
  errno = last_errno = why;
  return -1;
}

int32_t done(int32_t result) {
  return result < 0 ? fail(errno) : result;
}

int32_t send_answer(ipq_msg *reply_to, uint32_t opcode, const void *payload, uint32_t length) {
  vesk::message *request = vesk::find_message(reply_to);
  if (request == nullptr) return fail(EINVAL);
  return done(vesk::answer(*request, VESK_WIRE_ANSWER, opcode, payload, length));
}

int32_t send_message(uint32_t dest, uint32_t opcode, const void *payload, uint32_t length,
                     ipq_msg *reply_to) {
  if (length > VESK_WIRE_MAX_PAYLOAD) return fail(EMSGSIZE);
  switch (dest) {
    case IPQ_DEST_ANSWER:
      return send_answer(reply_to, opcode, payload, length);
    case IPQ_DEST_LISTENERS:
      vesk::send_to_listeners(opcode, payload, length);
      return 0;
    default:
      return fail(EHOSTUNREACH);
  }
}

vesk::refusal check(const vesk::message &msg, ptrdiff_t size) {
  return vesk::check_datagram(msg.header, static_cast<size_t>(size), vesk::is_privileged(msg));
}

int32_t hand_over(vesk::message &next, ipq_msg **msg) {
  next.in_use = true;
  next.reference.word[0] = next.header.opcode;
  *msg = &next.reference;
  return 0;
}

// The daemon looks at no message while its flash is not mounted, so a status request is answered
// here and now. The daemon gets it all the same, for the system manager to take.
int32_t admit(vesk::message &next, ipq_msg **msg) {
  ++vesk::counters.received;
  vesk::serve_status_request(next);
  return hand_over(next, msg);
}

}  // namespace

int32_t ipq_bind(uint32_t, uint32_t sap, const void *bind_block, const char *) {
  if (!vesk::claim_access_point(sap, queue)) return fail(errno);
  vesk::service_began = vesk::monotonic_usecs();
  if (bind_block != nullptr) {
    vesk::set_source(static_cast<const uint32_t *>(bind_block)[bind_block_uuid]);
  }
  return queue.socket;
}

int32_t ipq_recv(int32_t q, ipq_msg **msg, const void *) {
  if (q != queue.socket) return fail(EBADF);
  vesk::message *next = vesk::free_message();
  if (next == nullptr) return fail(ENOBUFS);
  bool refused_some = false;
  for (int i = 0; i < passed_over; ++i) {
    const ptrdiff_t size = vesk::take_datagram(queue.socket, *next);
    if (size < 0 && !refused_some) return fail(errno);
    if (size < 0) break;
    const vesk::refusal why = check(*next, size);
    if (why == vesk::refusal::none) return admit(*next, msg);
    vesk::refuse(*next, why);
    refused_some = true;
  }
  // The daemon logs an error when it wakes up and there is no message. Refused datagrams must not
  // fill its log, so it gets an empty message.
  vesk::make_empty(*next);
  return hand_over(*next, msg);
}

int32_t ipq_send(int32_t q, uint32_t dest, uint32_t, uint32_t opcode, const void *payload,
                 uint32_t length, ipq_msg *out_handle, ipq_msg *reply_to, uint32_t) {
  if (q != queue.socket) return fail(EBADF);
  const int32_t result = send_message(dest, opcode, payload, length, reply_to);
  if (result == 0 && out_handle != nullptr) *out_handle = {{opcode, 0, 0, sent_mark}};
  return result;
}

int32_t ipq_drop(int32_t q, ipq_msg *msg) {
  if (q != queue.socket) return fail(EBADF);
  vesk::message *held = vesk::find_message(msg);
  if (held == nullptr) {
    return msg != nullptr && msg->word[3] == sent_mark ? 0 : fail(EINVAL);
  }
  if (!held->answered && (held->header.flags & VESK_WIRE_WANT_RECEIPT) != 0) {
    vesk::answer(*held, VESK_WIRE_RECEIPT, 0, nullptr, 0);
  }
  held->in_use = false;
  return 0;
}

void *ipq_payload_get(ipq_msg *msg) {
  vesk::message *held = vesk::find_message(msg);
  return held == nullptr || held->header.length == 0 ? nullptr : held->payload;
}

uint32_t ipq_opc_get(ipq_msg *msg) {
  return msg->word[0];
}

int32_t ipq_errno_get(int32_t) {
  return last_errno;
}
