// Timer groups: timers that a select() loop serves.
#pragma once

#include <sys/time.h>

#include <cstdint>

extern "C" {

// Handles are non-zero; 0 means failure.
uint32_t tg_create_group(const char *name);
uint32_t tg_create_timer(uint32_t group, uint32_t id, uint32_t, uint32_t repeating);

// `interval` is two words: seconds and sub-second units. 1 for success.
uint32_t tg_start_timer(uint32_t timer, const uint32_t *interval);
uint32_t tg_destroy_timer(uint32_t timer);

// The time until the group's next timer expires, ready for select(): `tv`, filled, or null when no
// timer runs.
timeval *tg_get_next_expiry_time(uint32_t group, timeval *tv);

// Takes one expired timer: non-zero with its id and data stored, 0 (nothing stored) when none has
// expired. A repeating timer is running again afterwards.
int32_t tg_get_first_expired_timer(uint32_t group, uint32_t *id, void **data);

}  // extern "C"
