// The one way out: everything that the daemon sends goes through here, and nothing of it waits.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cstdint>

#include "protocol/vesk_wire.h"

namespace vesk {

// The service uuid that stands as the source in what is sent.
void set_source(uint32_t uuid);

// A header of this version, for `length` bytes of payload.
[[nodiscard]] vesk_wire_header make_header(uint16_t flags, uint32_t opcode, uint32_t sequence,
                                           uint32_t length);

// Sends one datagram: `header`, and its `length` bytes of `payload`. 0, or -1 with errno; EAGAIN
// means that the receiver's queue is full.
[[nodiscard]] int32_t send_datagram(const sockaddr_un &to, socklen_t to_length,
                                    const vesk_wire_header &header, const void *payload);

}  // namespace vesk
