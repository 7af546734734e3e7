// The daemon's own diagnostics: two levels, each line to the event history and to the debug print.
#pragma once

#include <cstdint>

#include "base/vesk_errno.h"
#include "platform/dbgkit.h"
#include "protocol/vesk_levels.h"

constexpr uint32_t VESK_HIST_IDENTITY = 115;
constexpr uint32_t VESK_HIST_EVENT = VESK_HIST_IDENTITY << 16;
static_assert(VESK_HIST_EVENT == 0x730000);

namespace vesk {

// Formats a line, cut at 511 characters, and stores it in the event history.
void store_history(uint32_t level, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Sends a line the ways that are wanted. Whatever they do, errno is the caller's whenever one of
// them evaluates its arguments, and afterwards.
template <typename Store, typename Print>
void log_line(uint32_t level, Store store, Print print) {
  const errno_keeper keeper;
  const bool to_history = dbgkit_hist_event_subtype_check(VESK_HIST_EVENT, level) == 0;
  keeper.restore();
  if (to_history) store();
  const bool to_print = dbgkit_chk_int(level, 0, 0, 1) != 0;
  keeper.restore();
  if (to_print) print();
}

}  // namespace vesk

// Macros, so that the compiler checks the format and a line that nobody wants is never formatted.
// The arguments are evaluated up to twice, once for each way: keep them free of side effects.
#define VESK_TRACE(...)                                                              \
  vesk::log_line(                                                                    \
      VESK_LEVEL_TRACE, [&] { vesk::store_history(VESK_LEVEL_TRACE, __VA_ARGS__); }, \
      [&] { dbgprint(__VA_ARGS__); })
#define VESK_ERROR(...)                                                              \
  vesk::log_line(                                                                    \
      VESK_LEVEL_ERROR, [&] { vesk::store_history(VESK_LEVEL_ERROR, __VA_ARGS__); }, \
      [&] { dbgprint(__VA_ARGS__); })
