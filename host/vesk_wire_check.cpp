#include "host/vesk_wire_check.h"

#include <iterator>

#include "protocol/vesk_messages.h"

namespace vesk {
namespace {

constexpr size_t common_to_all_versions = offsetof(vesk_wire_header, opcode);

// Indexed by the refusal.
constexpr const char *texts[] = {
    "accepted",
    "unknown version of the wire format",
    "the length in its header is not what came, or is too large",
    "only root and the daemon's own user may send this",
    "a request to the host with a wrong payload",
    "no header of this wire format",
    "an answer, not a request",
};
static_assert(std::size(texts) == refusal_count);

// What changes or destroys something, and requests to the host: for root and the daemon's own user.
bool needs_privilege(uint32_t opcode) {
  switch (opcode) {
    case IPQ_OPC_VESK_COMMAND:
    case IPQ_OPC_VESK_CONFIG:
    case IPQ_OPC_VESK_RECOVER:
    case IPQ_OPC_RUDA_FAIL_NOTICE:
    case VESK_WIRE_OPC_DEBUG:
    case VESK_WIRE_OPC_HISTORY:
    case VESK_WIRE_OPC_SWITCHOVER:
      return true;
    default:
      return false;
  }
}

}  // namespace

const char *refusal_text(refusal why) {
  return texts[static_cast<size_t>(why)];
}

refusal check_datagram(const vesk_wire_header &header, size_t size, bool privileged) {
  if (size < common_to_all_versions || header.magic != VESK_WIRE_MAGIC) return refusal::not_ours;
  if ((header.flags & VESK_WIRE_REPLY) != 0) return refusal::came_back;
  if (header.version != VESK_WIRE_VERSION) return refusal::bad_version;
  if (size < VESK_WIRE_HEADER_SIZE || header.length != size - VESK_WIRE_HEADER_SIZE ||
      header.length > VESK_WIRE_MAX_PAYLOAD) {
    return refusal::bad_length;
  }
  if (needs_privilege(header.opcode) && !privileged) return refusal::not_permitted;
  return refusal::none;
}

}  // namespace vesk
