// The message service: one queue for each service access point, datagrams with an opcode, answers.
//
// All calls have C linkage and return 0 (or a descriptor) for success and a negative value for
// failure, unless they say otherwise.
#pragma once

#include <cstdint>

// A reference to a message. Only the message service looks inside; a caller may declare one to
// receive the handle of a message it sends.
struct ipq_msg {
  uint32_t word[4];
};

// Addresses that are not a node's own.
constexpr uint32_t IPQ_DEST_ANSWER = 0xFE000000;     // the sender of the message answered
constexpr uint32_t IPQ_DEST_LISTENERS = 0xFE000001;  // everybody who subscribed

extern "C" {

// Binds the access point `sap` and returns its queue: a descriptor that select() reports readable
// while a message waits, below FD_SETSIZE. Negative when it cannot be bound. `bind_block` is six
// 32-bit words.
int32_t ipq_bind(uint32_t node, uint32_t sap, const void *bind_block, const char *name);

// Takes the next message from the queue and stores a pointer to it in `*msg`; the message stays the
// service's and is valid until ipq_drop(). `options` is ten 32-bit words. Stores nothing when it
// fails.
int32_t ipq_recv(int32_t q, ipq_msg **msg, const void *options);

// Sends `length` bytes of `payload`. With `reply_to` a received message and `dest` the answer
// address, answers that message's sender. When `out_handle` is given, it receives the handle of the
// sent message, to be given back by ipq_drop().
int32_t ipq_send(int32_t q, uint32_t dest, uint32_t dest_sap, uint32_t opcode, const void *payload,
                 uint32_t length, ipq_msg *out_handle, ipq_msg *reply_to, uint32_t last);

// Gives a message back to the service; its payload is gone afterwards. Also takes the handle of a
// message that was sent, or that could not be sent.
int32_t ipq_drop(int32_t q, ipq_msg *msg);

// The payload of a received message, or null when it has none. No call tells how long it is; the
// service guarantees instead that 65,559 bytes may be read (24 + 65,535, the largest log record,
// which is also more than the 256 * 65 bytes of configuration data), and that what lies behind the
// bytes that were sent reads as zero.
void *ipq_payload_get(ipq_msg *msg);

uint32_t ipq_opc_get(ipq_msg *msg);

// The error number of the queue's last failed call.
int32_t ipq_errno_get(int32_t q);

}  // extern "C"
