#include "store/vesk_log.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

void vesk::store_history(uint32_t level, const char *format, ...) {
  struct {
    uint32_t level;
    char text[512];
  } record;
  record.level = level;

  std::va_list args;
  va_start(args, format);
  const int wanted = std::vsnprintf(record.text, sizeof record.text, format, args);
  va_end(args);

  const int length = std::clamp(wanted, 0, static_cast<int>(sizeof record.text) - 1);
  // The level, the text, its terminator.
  dbgkit_hist_event(VESK_HIST_EVENT, static_cast<uint32_t>(length) + 5, &record);
}
