// Sending on the daemon's queue. A send that succeeded is noted in the event history.
#pragma once

#include <cstdint>

#include "platform/ipq.h"

extern "C" {

extern int32_t ipq_q;  // the daemon's bound message queue, which the main loop watches

// ipq_send() on the daemon's queue; returns what it returned, 0 for sent.
int32_t vesk_ipq_send(uint32_t dest, uint32_t dest_sap, uint32_t opcode, void *payload,
                      uint32_t length, ipq_msg *out_handle, ipq_msg *reply_to, uint32_t last);

// Answers the message `request`.
int32_t vesk_ipq_send_response(void *payload, uint32_t length, ipq_msg *request,
                               ipq_msg *out_handle);

}  // extern "C"
