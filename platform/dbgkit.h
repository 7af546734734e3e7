// The debug and event-history wrapper: levels, an event history in memory, a print routine.
//
// dbgkit_hist_event(), dbgkit_hist_event_subtype_check(), dbgkit_chk_int() and dbgprint() may be
// called from a signal handler: they take no lock and no heap.
#pragma once

#include <cstdint>

#include "platform/ipq.h"

// What dbgkit_hist_ipq_event() notes.
constexpr uint32_t DBGKIT_MSG_RECEIVED = 3;
constexpr uint32_t DBGKIT_MSG_SENT = 4;

extern "C" {

extern const char *dbgkit_dbg_modname;   // the debug name given to dbgkit_dbg_init()
extern const void *dbgkit_sys_facility;  // the record of the syslog facility to print under

// Registers the debug name, the display name and `flag_count` flag names. 0 for success.
int32_t dbgkit_dbg_init(int32_t q, const char *name, const char *display_name, uint32_t flag_count,
                        const char *const *flags, uint32_t, uint32_t, uint32_t);
int32_t dbgkit_sys_init_helper(int32_t q, const char *name, const char *display_name,
                               uint32_t facility, uint32_t, uint32_t, uint32_t);

// Creates the event history of `size` bytes, for the process and for one history identity.
int32_t dbgkit_hist_init(uint32_t size);
int32_t dbgkit_hist_init_for_uuid(uint32_t identity, uint32_t size);

// Turns the recording of one level of an event on (1) or off (0).
int32_t dbgkit_hist_set_event_subtype(uint32_t event, uint32_t level, uint32_t on);

// Non-zero when the level is suppressed: not to be recorded.
int32_t dbgkit_hist_event_subtype_check(uint32_t event, uint32_t level);

// Stores `length` bytes of `record` (a 32-bit level and a text) in the event history.
int32_t dbgkit_hist_event(uint32_t event, uint32_t length, const void *record);

// Notes in the event history that a message was received or sent.
int32_t dbgkit_hist_ipq_event(uint32_t direction, const ipq_msg *msg, uint32_t, uint32_t);

// Non-zero when prints of the level are wanted.
int32_t dbgkit_chk_int(uint32_t level, uint32_t, uint32_t, uint32_t);

void dbgprint(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Offers a received message to the wrapper; 0 when it was a debug request and has been served.
int32_t dbgkit_process_msg(int32_t q, ipq_msg *msg);

}  // extern "C"
