#include "tests/flash/listener.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdio>
#include <cstring>

namespace vesk::test {

listener::listener() : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, "/run/vesk/listeners/test");
  unlink(address.sun_path);
  if (bind(fd_.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
    std::perror(address.sun_path);
  }
}

std::optional<reply> listener::hear(std::chrono::milliseconds limit) {
  pollfd readable{fd_.get(), POLLIN, 0};
  if (poll(&readable, 1, static_cast<int>(limit.count())) != 1) return {};
  std::vector<uint8_t> datagram(VESK_WIRE_HEADER_SIZE + VESK_WIRE_MAX_PAYLOAD);
  const ssize_t length = recv(fd_.get(), datagram.data(), datagram.size(), 0);
  reply got{};
  if (length < static_cast<ssize_t>(sizeof got.header)) return {};
  std::memcpy(&got.header, datagram.data(), sizeof got.header);
  got.payload.assign(datagram.begin() + sizeof got.header, datagram.begin() + length);
  return got;
}

}  // namespace vesk::test
