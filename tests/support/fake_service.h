// A stand-in for the daemon: it binds the daemon's access point in a run directory of its own and
// does with each request what the test says.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "protocol/vesk_wire.h"
#include "tests/support/files.h"

namespace vesk::test {

// A directory for sockets.
class run_dir : public scratch_directory {
 public:
  std::string socket_path() const { return *this / "sap-1016"; }
};

// Binds the access point's socket and returns its descriptor.
int bind_access_point(const run_dir &dir);

struct request {
  vesk_wire_header header{};
  std::string payload;
  sockaddr_un from{};
  socklen_t from_length = 0;
};

// The bytes of a reply; `change` may spoil its header.
std::string reply_to(const request &to, uint16_t flags, const std::string &payload,
                     const std::function<void(vesk_wire_header &)> &change = {});

// A 32-bit word in this machine's byte order.
std::string word(uint32_t value);

class fake_service {
 public:
  using behaviour = std::function<void(const fake_service &, const request &)>;

  // Serves from construction to destruction, in a thread of its own.
  fake_service(const run_dir &dir, behaviour what_to_do);
  fake_service(const fake_service &) = delete;
  fake_service &operator=(const fake_service &) = delete;
  ~fake_service();

  // The requests that have come so far.
  std::vector<request> requests() const;

  // For the behaviour.
  void send(const request &to, const std::string &datagram) const;
  void answer(const request &to, const std::string &payload) const;
  void receipt(const request &to) const;
  void refuse(const request &to, uint32_t reason) const;
  // Sends as if it were this user; false when the kernel does not let us.
  bool send_as(uint32_t uid, const request &to, const std::string &datagram) const;

 private:
  void serve();

  behaviour what_to_do_;
  int fd_;
  int stop_;
  mutable std::mutex guard_;
  std::vector<request> requests_;
  std::thread thread_;
};

// Behaviours.
void silence(const fake_service &, const request &);
fake_service::behaviour answer_always(const std::string &payload);
void receipt_always(const fake_service &service, const request &to);
fake_service::behaviour refuse_always(uint32_t reason);

}  // namespace vesk::test
