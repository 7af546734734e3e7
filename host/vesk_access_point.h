// A service access point: the socket that senders find in the run directory.
#pragma once

#include <cstdint>

namespace vesk {

// Holds the socket, and a lock that keeps any other process from serving the same access point.
struct access_point {
  int32_t socket = -1;  // non-blocking, with the sender's credentials on every message
  int32_t lock = -1;
};

// Claims the access point `sap`: makes the run directory and the listeners' directory where they
// are missing, and replaces a socket that a dead process left. False, with the reason on standard
// error and errno set, when another process serves it or the socket cannot be made; there is
// nothing to release then.
[[nodiscard]] bool claim_access_point(uint32_t sap, access_point &point);

// Gives the access point up, so that it can be claimed again.
void release_access_point(access_point &point);

}  // namespace vesk
