// How the process ends, and what reaches it from outside: SIGTERM, and a switchover of the
// supervisor (platform/runctl.h declares the callback).
#pragma once

#include <cstdint>

// Exit statuses of the daemon.
constexpr int32_t VESK_EXIT_SIGNAL_HANDLER = 2;  // the SIGTERM handler could not be installed
constexpr int32_t VESK_EXIT_SIGTERM = 3;
constexpr int32_t VESK_EXIT_BIND = 4;
constexpr int32_t VESK_EXIT_DEBUG = 5;
constexpr int32_t VESK_EXIT_TIMER = 6;
constexpr int32_t VESK_EXIT_SLOT = 8;

extern "C" {

// Logs and ends the process with VESK_EXIT_SIGTERM. It may interrupt anything, so it closes and
// flushes nothing: log files stay as the last completed write left them.
void vesk_sigterm_handler(int signo);

}  // extern "C"
