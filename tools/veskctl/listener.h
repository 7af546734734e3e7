// A socket among the daemon's listeners: what the daemon sends to all arrives here.
#pragma once

#include <sys/un.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/vesk_failure.h"
#include "base/vesk_fd.h"

namespace vesk::veskctl {

struct heard {
  uint32_t opcode;
  std::vector<uint8_t> payload;
};

// Subscribed from construction to destruction, which removes the socket's file.
class listener {
 public:
  // Subscribes in the run directory, unless trouble() says why it could not.
  explicit listener(const std::string &run_dir);
  listener(const listener &) = delete;
  listener &operator=(const listener &) = delete;
  ~listener();

  const failure &trouble() const { return trouble_; }
  int fd() const { return fd_.get(); }

  // Takes one datagram that has arrived; nothing when it is no message of the daemon's.
  [[nodiscard]] std::optional<heard> receive();

 private:
  [[nodiscard]] bool bind_socket(const std::string &run_dir);

  sockaddr_un daemon_socket_{};  // whose owner is the daemon's user
  std::string path_;
  unique_fd fd_;
  failure trouble_;
};

}  // namespace vesk::veskctl
