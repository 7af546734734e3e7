// The five-second tick, and the announcement that the daemon is up.
#pragma once

#include <cstdint>

constexpr uint32_t VESK_HEARTBEAT_TIMER = 1;
constexpr uint8_t VESK_UP_RETRIES = 5;  // the timer stops trying beyond this many failures

extern "C" {

extern uint32_t vesk_tg_handle;           // the timer group
extern uint8_t vesk_up_sent;              // 1 once UP was sent
extern uint8_t vesk_up_sent_retry_count;  // failed sends of UP; never reset

// Serves an expired timer. For VESK_HEARTBEAT_TIMER: tries to send UP if that is still to be done,
// sends the heartbeat, makes the mount check. Any other id is ignored.
void vesk_handle_timer(uint32_t timer_id);

}  // extern "C"

namespace vesk {

// Sends UP to the listeners, and counts and logs a failure.
void send_up();

}  // namespace vesk
