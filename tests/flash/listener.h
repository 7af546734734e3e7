// Somebody who listens to what the daemon tells everybody.
#pragma once

#include <chrono>
#include <optional>

#include "base/vesk_fd.h"
#include "tests/support/wire_socket.h"

namespace vesk::test {

class listener {
 public:
  listener();

  // What comes next, if anything does within the time.
  std::optional<reply> hear(std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    return receive_from(fd_, limit);
  }

 private:
  unique_fd fd_;
};

}  // namespace vesk::test
