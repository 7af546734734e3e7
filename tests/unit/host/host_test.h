// What the tests of the host share: settings that go away again, a client of the
// message service, and a look at standard error.
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/ipq.h"
#include "protocol/vesk_wire.h"
#include "tests/support/files.h"
#include "tests/support/text.h"

namespace vesk::test {

// A setting of the environment, for as long as it lives; null unsets it.
class setting {
 public:
  setting(const char *name, const char *value);
  setting(const setting &) = delete;
  setting &operator=(const setting &) = delete;
  ~setting();

 private:
  std::string name_;
  std::optional<std::string> former_;
};

// Everything written to standard error while it lives.
class stderr_capture {
 public:
  stderr_capture();
  stderr_capture(const stderr_capture &) = delete;
  stderr_capture &operator=(const stderr_capture &) = delete;
  ~stderr_capture();

  std::string text() const;

 private:
  int file_;
  int former_;
};

// The message service of this test program: bound once, under access point 1016, in a directory of
// its own, which VESK_RUN_DIR names from then on.
int32_t queue();
std::string run_directory();
sockaddr_un address_of(const std::string &path);

// Waits up to two seconds for something to read.
bool readable(int fd);

struct arrived {
  vesk_wire_header header;
  std::string payload;
  uid_t uid;  // of the process that sent it
};

// A sender. Its requests have the numbers 1, 2, 3 …
class client {
 public:
  enum class named { yes, no };

  explicit client(named name = named::yes);
  client(const client &) = delete;
  client &operator=(const client &) = delete;
  ~client();

  int fd() const { return fd_; }

  // A proper header around the payload; returns whether it was sent.
  bool send(uint32_t opcode, const std::string &payload = {}, uint16_t flags = 0);
  // The same, sent in the name of another user, which only root can do.
  bool send_as(uid_t uid, uint32_t opcode, const std::string &payload = {});
  // Anything at all.
  bool send_bytes(const std::string &bytes);

  // What came back; nothing when nothing is there (within two seconds, or at once).
  std::optional<arrived> receive();
  std::optional<arrived> receive_now();

 private:
  int fd_;
  uint32_t sequence_ = 0;
};

std::string bytes_of(const vesk_wire_header &header);
std::string bytes_of(uint32_t word);

// The daemon's side: the next message, which must be there.
ipq_msg *next_message();

// One step of the daemon: receives a message and answers it with `payload`.
void answer_next(const std::string &payload);

}  // namespace vesk::test
