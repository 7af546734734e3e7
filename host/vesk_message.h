// The messages that the daemon holds: a few fixed buffers, used over and over.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdint>

#include "platform/ipq.h"
#include "protocol/vesk_wire.h"

namespace vesk {

struct message {
  ipq_msg reference;  // what the daemon holds; its address identifies the message
  bool in_use;
  bool answered;
  bool served;  // the host is done with it: the daemon only drops it
  vesk_wire_header header;
  ucred sender;  // as the kernel knows it
  sockaddr_un address;
  socklen_t address_length;
  uint32_t written;  // how many bytes at the front of the payload may be other than zero
  alignas(16) uint8_t payload[VESK_WIRE_MAX_PAYLOAD];
};

// A message that is not in use, or null when the daemon holds them all. The caller sets `in_use`.
[[nodiscard]] message *free_message();

// The message in use that `reference` stands for, or null.
[[nodiscard]] message *find_message(const ipq_msg *reference);

// Empties the message, for the daemon to drop: no opcode, no payload, no sender to answer.
void make_empty(message &msg);

// Takes the next datagram off `fd` into the message: header, sender, payload; everything in the
// payload behind what came is zero. Returns the datagram's whole size, which may be larger than
// what a message holds, or -1 with errno.
[[nodiscard]] ptrdiff_t take_datagram(int32_t fd, message &msg);

// Whether root or the daemon's own user sent the message.
[[nodiscard]] bool is_privileged(const message &msg);

// Whether the sender has an address to which something can be sent back.
[[nodiscard]] bool has_address(const message &msg);

}  // namespace vesk
