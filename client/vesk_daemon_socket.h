// The daemon's access point: its address, and how to take what its owner sends.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <span>

namespace vesk::client {

// Stores the access point's address. False when `run_dir` is empty or too long for an address.
[[nodiscard]] bool locate_daemon_socket(const char *run_dir, sockaddr_un &address);

// Takes one datagram off a socket that has SO_PASSCRED, and returns its size: 0 when it does not
// count, because it was too long or came from neither root nor the owner of the access point; -1
// with errno when there is none.
[[nodiscard]] ptrdiff_t receive_from_daemon(int fd, std::span<iovec> parts,
                                            const sockaddr_un &daemon_socket);

}  // namespace vesk::client
