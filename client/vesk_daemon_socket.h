// The daemon's access point: its address, and whether a message came from its owner.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

namespace vesk::client {

// Stores the access point's address. False when `run_dir` is empty or too long for an address.
[[nodiscard]] bool locate_daemon_socket(const char *run_dir, sockaddr_un &address);

// Anybody on the machine may write to a socket of ours: only what root or the owner of the access
// point sent counts. `msg` was filled by recvmsg() on a socket that has SO_PASSCRED, with room for
// the credentials alone.
[[nodiscard]] bool sent_by_daemon(const msghdr &msg, const sockaddr_un &daemon_socket);

}  // namespace vesk::client
