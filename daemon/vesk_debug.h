// Registration with the debug wrapper, and the records exported for the platform's syslog tooling.
#pragma once

#include <cstdint>

inline constexpr char VESK_DEBUG_NAME[] = "vesk_sup";
inline constexpr char VESK_DISPLAY_NAME[] = "Sup Persitent Logging Daemon";

struct vesk_syslog_facility {
  const char *name;
  uint32_t facility;
  uint32_t identity;
};

struct vesk_syslog_message {
  const char *name;
  const vesk_syslog_facility *facility;
  const char *format;
  uint32_t severity;
};

extern "C" {

extern const vesk_syslog_facility syslog_fac_LOG_VESK;
extern const vesk_syslog_message syslog_msg_VESK_SUP_EXIT;  // never emitted by the daemon itself

// Registers the daemon with the debug wrapper and sets up its event history. 0, or -1.
int32_t vesk_sup_debug_init(void);

}  // extern "C"
