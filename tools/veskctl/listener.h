// A socket among the daemon's listeners: what the daemon sends to all arrives here.
#pragma once

#include <sys/un.h>

#include <cstdint>
#include <string>
#include <vector>

#include "base/vesk_fd.h"
#include "protocol/vesk_wire.h"

namespace vesk::veskctl {

// Subscribed from construction to destruction, which removes the socket's file.
class listener {
 public:
  // Subscribes in the run directory; when that fails, fd() is negative and errno says why.
  explicit listener(const std::string &run_dir);
  listener(const listener &) = delete;
  listener &operator=(const listener &) = delete;
  ~listener();

  int fd() const { return fd_.get(); }
  const std::string &path() const { return path_; }

  // Takes one datagram that has arrived and returns true when it is a message of the daemon's; its
  // opcode and payload are stored then.
  bool receive(uint32_t &opcode, std::vector<uint8_t> &payload);

 private:
  bool bind_socket(const std::string &run_dir);

  sockaddr_un daemon_socket_{};  // whose owner is the daemon's user
  std::string path_;
  unique_fd fd_;
  bool bound_ = false;
};

}  // namespace vesk::veskctl
