// The directory in which the sockets lie.
#pragma once

#include <sys/un.h>

namespace vesk {

// VESK_RUN_DIR of the environment, unless it is unset or empty.
const char *run_dir();

// Stores the address of `name` in the run directory in `address`; false with ENAMETOOLONG when the
// path does not fit. A path made here is terminated.
bool run_dir_address(const char *name, sockaddr_un &address);

}  // namespace vesk
