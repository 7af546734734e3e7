// The debug and event-history wrapper.
#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "host/vesk_debug_level.h"
#include "host/vesk_debug_request.h"
#include "host/vesk_history.h"
#include "host/vesk_message.h"
#include "host/vesk_stderr.h"
#include "platform/dbgkit.h"

// A program that reads the history knows them by the protocol's names.
static_assert(VESK_WIRE_RECEIVED == DBGKIT_MSG_RECEIVED && VESK_WIRE_SENT == DBGKIT_MSG_SENT);

const char *dbgkit_dbg_modname;
const void *dbgkit_sys_facility;

namespace {

// dbgprint() does not get the level of its line: it is the one that dbgkit_chk_int() got last.
uint32_t line_level = VESK_LEVEL_ERROR;

void read_environment() {
  const char *value = std::getenv("VESK_DEBUG");
  const std::string_view wanted = value == nullptr ? "" : value;
  if (wanted == "none") {
    vesk::debug_levels.print = VESK_WIRE_DEBUG_NONE;
  } else if (wanted == "trace") {
    vesk::debug_levels.print = VESK_WIRE_DEBUG_TRACE;
    vesk::debug_levels.record = VESK_WIRE_DEBUG_TRACE;
  } else if (!wanted.empty() && wanted != "error") {
    vesk::complain(vesk::priority::warning,
                   "vesk host: VESK_DEBUG is \"%s\", not none, error or trace; taken as error",
                   value);
  }
}

}  // namespace

int32_t dbgkit_dbg_init(int32_t, const char *name, const char *, uint32_t, const char *const *,
                        uint32_t, uint32_t, uint32_t) {
  dbgkit_dbg_modname = name;
  read_environment();
  return 0;
}

int32_t dbgkit_sys_init_helper(int32_t, const char *, const char *, uint32_t, uint32_t, uint32_t,
                               uint32_t) {
  return 0;  // lines go to standard error, whose reader adds the facility
}

// The history lies in static memory, one for the whole process.
int32_t dbgkit_hist_init(uint32_t) {
  return 0;
}

int32_t dbgkit_hist_init_for_uuid(uint32_t, uint32_t) {
  return 0;
}

int32_t dbgkit_hist_set_event_subtype(uint32_t, uint32_t level, uint32_t on) {
  const uint8_t wanted = vesk::wanted_by(level);
  uint8_t &record = vesk::debug_levels.record;
  record = on != 0 ? std::max(record, wanted) : std::min(record, static_cast<uint8_t>(wanted - 1));
  return 0;
}

int32_t dbgkit_hist_event_subtype_check(uint32_t, uint32_t level) {
  return vesk::debug_levels.record < vesk::wanted_by(level) ? 1 : 0;
}

int32_t dbgkit_hist_event(uint32_t, uint32_t length, const void *record) {
  uint32_t level = 0;
  if (length < sizeof level) return -1;
  std::memcpy(&level, record, sizeof level);
  const char *text = static_cast<const char *>(record) + sizeof level;
  vesk::note_text(level, vesk::without_line_end({text, strnlen(text, length - sizeof level)}));
  return 0;
}

int32_t dbgkit_hist_ipq_event(uint32_t direction, const ipq_msg *msg, uint32_t, uint32_t) {
  if (vesk::debug_levels.record == VESK_WIRE_DEBUG_NONE) return 0;
  const vesk::message *held = vesk::find_message(msg);
  // Frequent status requests, or a flood of refused messages, would push everything else out.
  if (held != nullptr && held->served) return 0;
  vesk::note_message(direction, held == nullptr ? 0 : held->header.opcode);
  return 0;
}

int32_t dbgkit_chk_int(uint32_t level, uint32_t, uint32_t, uint32_t) {
  line_level = level;
  return vesk::debug_levels.print >= vesk::wanted_by(level) ? 1 : 0;
}

void dbgprint(const char *format, ...) {
  const auto level = line_level == VESK_LEVEL_TRACE ? vesk::priority::debug : vesk::priority::error;
  std::va_list args;
  va_start(args, format);
  vesk::print_line(level, format, args);
  va_end(args);
}

int32_t dbgkit_process_msg(int32_t, ipq_msg *msg) {
  vesk::message *held = vesk::find_message(msg);
  return held != nullptr && vesk::serve_debug_request(*held) ? 0 : -1;
}
