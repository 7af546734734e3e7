// Which datagrams are refused, and so never reach the daemon.
#pragma once

#include <cstddef>
#include <cstdint>

#include "protocol/vesk_wire.h"

namespace vesk {

enum class refusal : uint32_t {
  none = 0,
  // The sender gets the reason:
  bad_version = VESK_WIRE_BAD_VERSION,
  bad_length = VESK_WIRE_BAD_LENGTH,
  not_permitted = VESK_WIRE_NOT_PERMITTED,
  bad_request = VESK_WIRE_BAD_REQUEST,
  // Dropped without a word:
  not_ours,   // no header, or not our magic: the sender would not understand an answer
  came_back,  // an answer or a refusal; answering it could go round for ever
};
constexpr size_t refusal_count = 7;

// Whether the sender gets the reason.
[[nodiscard]] constexpr bool is_reported(refusal why) {
  return why >= refusal::bad_version && why <= refusal::bad_request;
}

// What stands in the log when a datagram is refused.
[[nodiscard]] const char *refusal_text(refusal why);

// Why a datagram of `size` bytes is refused, if it is. `header` holds its first bytes, with zeros
// for those that did not come.
[[nodiscard]] refusal check_datagram(const vesk_wire_header &header, size_t size, bool privileged);

}  // namespace vesk
