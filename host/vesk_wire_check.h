// Whether a datagram may reach the daemon.
#pragma once

#include <cstddef>
#include <cstdint>

#include "protocol/vesk_wire.h"

namespace vesk {

enum class verdict : uint32_t {
  accepted = 0,
  // Refused, and the sender is told so:
  bad_version = VESK_WIRE_BAD_VERSION,
  bad_length = VESK_WIRE_BAD_LENGTH,
  not_permitted = VESK_WIRE_NOT_PERMITTED,
  bad_request = VESK_WIRE_BAD_REQUEST,
  // Dropped without a word:
  not_ours,   // no header, or not our magic: whoever sent it would not understand an answer
  came_back,  // an answer or a refusal; answering it could go round for ever
};
constexpr size_t verdict_count = 7;

constexpr bool is_told(verdict v) {
  return v >= verdict::bad_version && v <= verdict::bad_request;
}

// What stands in the log when a datagram is refused.
const char *verdict_text(verdict v);

// Whether only root and the daemon's own user may send this opcode: what changes or destroys
// something, and requests to the host.
bool needs_privilege(uint32_t opcode);

// Judges a datagram of `size` bytes. `header` holds its first bytes, with zeros for those that did
// not come.
verdict check_datagram(const vesk_wire_header &header, size_t size, bool privileged);

}  // namespace vesk
