// The system manager: registration, restart detection, heartbeat, switchover.
#pragma once

#include <cstdint>

#include "platform/ipq.h"

// What runctl_dispatch() did with a message; any other value: it is not the manager's.
constexpr int32_t RUNCTL_TOOK = 0;   // the caller drops it
constexpr int32_t RUNCTL_KEEPS = 1;  // the manager keeps it

extern "C" {

// Registers the process that owns queue `q` under the identity `uuid`; returns the system's state.
uint32_t runctl_handshake(int32_t q, uint32_t uuid);

// The process id of the previous instance when this process is a restart of it, else 0.
uint32_t runctl_last_pid_get(void);

// Tells the manager that the process is alive: 0 in the normal course, 1 before work that may take
// longer than the heartbeat interval.
int32_t runctl_heartbeat(uint32_t busy);

// Offers a received message to the manager; returns RUNCTL_...
int32_t runctl_dispatch(ipq_msg *msg);

// Reports that the switchover `context` has been handled with `result`.
int32_t runctl_switchover_done(uint32_t context, uint32_t result);

// Defined by the daemon; the manager calls it when the supervisor switches over.
uint32_t runctlcb_switchover(uint32_t context);

}  // extern "C"
