// One socket to the daemon's access point: requests go out, what comes back is matched to them.
#pragma once

#include <sys/un.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <span>

#include "client/vesk_client.h"
#include "protocol/vesk_wire.h"

namespace vesk::client {

using bytes = std::span<const uint8_t>;
using deadline = std::chrono::nanoseconds;  // on the clock of monotonic_now()

// The time since the machine's start. (The standard library's clock would make this library one
// that C programs have to link the C++ library for.)
std::chrono::nanoseconds monotonic_now();

// A datagram socket with an address of the kernel's choice, not connected, so that a restarted
// daemon is reached without anybody noticing.
struct channel {
  int fd;
  sockaddr_un daemon;  // the access point
  uint32_t sequence;   // of the last request
  std::array<uint8_t, VESK_WIRE_HEADER_SIZE + VESK_WIRE_MAX_PAYLOAD> received;
};

// Sets up a channel whose access point lies in `run_dir`. The caller closes `fd` when the code is
// OK; there is nothing to close otherwise.
[[nodiscard]] vesk_client_code open_channel(channel &ch, const char *run_dir);

// Sends one request, its payload in up to two pieces. Waits until `until` for room in the daemon's
// queue.
[[nodiscard]] vesk_client_code send_request(channel &ch, uint32_t opcode, uint16_t flags,
                                            bytes head, bytes rest, deadline until);

struct reply {
  uint16_t kind;  // VESK_WIRE_ANSWER or VESK_WIRE_RECEIPT
  bytes payload;  // lies in the channel, valid until its next call
};

// Waits until `until` for what comes back on the last request, and stores it in `out` when the code
// is OK; a refusal by the host is a code of its own. Everything else that arrives meanwhile is
// dropped: messages from anybody except root and the owner of the access point, and late answers to
// earlier requests.
[[nodiscard]] vesk_client_code await_reply(channel &ch, deadline until, reply &out);

}  // namespace vesk::client
