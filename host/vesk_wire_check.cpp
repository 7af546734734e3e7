#include "host/vesk_wire_check.h"

namespace vesk {
namespace {

constexpr size_t common_to_all_versions = offsetof(vesk_wire_header, opcode);
constexpr uint16_t comes_back = VESK_WIRE_ANSWER | VESK_WIRE_RECEIPT | VESK_WIRE_REFUSED;

// The privileged among the daemon's own opcodes.
constexpr uint32_t opcode_command = 1153;
constexpr uint32_t opcode_config = 1155;
constexpr uint32_t opcode_recover = 1158;
constexpr uint32_t opcode_flash_failed = 6024;

}  // namespace

const char *verdict_text(verdict v) {
  switch (v) {
    case verdict::accepted:
      return "accepted";
    case verdict::bad_version:
      return "unknown version of the wire format";
    case verdict::bad_length:
      return "the length in its header is not what came, or is too large";
    case verdict::not_permitted:
      return "only root and the daemon's own user may send this";
    case verdict::bad_request:
      return "a request to the host with a wrong payload";
    case verdict::not_ours:
      return "no header of this wire format";
    case verdict::came_back:
      return "an answer, not a request";
  }
  return "unknown";
}

bool needs_privilege(uint32_t opcode) {
  switch (opcode) {
    case opcode_command:
    case opcode_config:
    case opcode_recover:
    case opcode_flash_failed:
    case VESK_WIRE_OPC_DEBUG:
    case VESK_WIRE_OPC_HISTORY:
    case VESK_WIRE_OPC_SWITCHOVER:
      return true;
    default:
      return false;
  }
}

verdict check_datagram(const vesk_wire_header &header, size_t size, bool privileged) {
  if (size < common_to_all_versions || header.magic != VESK_WIRE_MAGIC) return verdict::not_ours;
  if ((header.flags & comes_back) != 0) return verdict::came_back;
  if (header.version != VESK_WIRE_VERSION) return verdict::bad_version;
  if (size < VESK_WIRE_HEADER_SIZE || header.length != size - VESK_WIRE_HEADER_SIZE ||
      header.length > VESK_WIRE_MAX_PAYLOAD) {
    return verdict::bad_length;
  }
  if (needs_privilege(header.opcode) && !privileged) return verdict::not_permitted;
  return verdict::accepted;
}

}  // namespace vesk
