#include "store/vesk_log.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

void vesk::store_history(uint32_t level, const char *format, ...) {
  struct {
    uint32_t level;
    char text[512];
  } record;
  record.level = level;

  std::va_list args;
  va_start(args, format);
  std::vsnprintf(record.text, sizeof record.text, format, args);
  va_end(args);

  const uint32_t length = static_cast<uint32_t>(std::strlen(record.text));
  dbgkit_hist_event(VESK_HIST_EVENT, length + 5, &record);  // the level, the text, its terminator
}
