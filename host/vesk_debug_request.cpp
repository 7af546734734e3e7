#include "host/vesk_debug_request.h"

#include <cstring>

#include "host/vesk_answer.h"
#include "host/vesk_debug_level.h"
#include "host/vesk_history.h"

namespace vesk {
namespace {

bool is_level(uint8_t level) {
  return level <= VESK_WIRE_DEBUG_TRACE || level == VESK_WIRE_DEBUG_KEEP;
}

void set_level(uint8_t &level, uint8_t asked) {
  if (asked != VESK_WIRE_DEBUG_KEEP) level = asked;
}

void change_levels(message &msg) {
  vesk_wire_debug asked{};
  std::memcpy(&asked, msg.payload, sizeof asked);
  if (msg.header.length != sizeof asked || !is_level(asked.print) || !is_level(asked.record)) {
    refuse(msg, refusal::bad_request);
    return;
  }
  set_level(debug_levels.print, asked.print);
  set_level(debug_levels.record, asked.record);
  answer(msg, VESK_WIRE_ANSWER, 0, &debug_levels, sizeof debug_levels);
}

void read_out_history(message &msg) {
  if (msg.header.length != 0) {
    refuse(msg, refusal::bad_request);
    return;
  }
  char records[text_history_size + message_history_size];
  static_assert(sizeof records <= VESK_WIRE_MAX_PAYLOAD);
  const size_t size = copy_history(records);
  answer(msg, VESK_WIRE_ANSWER, 0, records, static_cast<uint32_t>(size));
}

}  // namespace

bool serve_debug_request(message &msg) {
  switch (msg.header.opcode) {
    case VESK_WIRE_OPC_DEBUG:
      change_levels(msg);
      return true;
    case VESK_WIRE_OPC_HISTORY:
      read_out_history(msg);
      return true;
    default:
      return false;
  }
}

}  // namespace vesk
