// The daemon as a process, and the fixture of the tests that talk to it.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/files.h"
#include "tests/support/poll.h"
#include "tests/support/program.h"
#include "tests/support/text.h"
#include "tests/support/wire_socket.h"

namespace vesk::test {

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool sanitized = true;
#else
inline constexpr bool sanitized = false;
#endif

// The card slot in which the daemon believes itself to be.
inline constexpr char this_slot[] = "3";

class running_daemon {
 public:
  // Starts it and waits until it answers. `prepare` runs in its process before it.
  void start(const std::function<void()> &prepare = {});

  // Sends it a signal and waits for its end. Returns its exit status, 128 + signal for a death by
  // signal.
  int stop(int signal);

  // Started, and not stopped by us.
  bool running() const { return program_.has_value(); }
  pid_t process() const { return program_->process(); }

  // What it has printed since the test began.
  std::string printed() const;
  // Whether it prints this text, now or soon.
  bool prints(const std::string &text) const;

 private:
  std::optional<program> program_;
};

// Each test has an empty log directory and a daemon of its own, which must still be there, and able
// to end in order, when the test is over.
class daemon_test : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  running_daemon daemon;
  wire_socket sender;
};

// Whether the daemon stores this record: it asks for an answer and gets a yes.
bool stores(wire_socket &sender, const record &sent);

// A record that is as it should be, for vesk.log unless another file type is given.
record good_record(const std::string &data, uint16_t file_type = 5);

// The data of the entries of a file, given by name or number, as veskshow shows them; fails the
// test when it finds the file damaged.
std::vector<std::string> shown_data(const std::string &file);

}  // namespace vesk::test
