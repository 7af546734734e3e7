// The fixture of the tests in which the daemon's flash misbehaves.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "tests/flash/broken_flash.h"
#include "tests/flash/mount_point.h"
#include "tests/support/poll.h"
#include "tests/support/running_daemon.h"

namespace vesk::test {

// What came back on a record: an answer, or that it was only let go.
enum class response : uint8_t { stored, refused, dropped, unknown };
void PrintTo(response shown, std::ostream *out);

// A daemon of its own on a flash of its own, which is mounted by a mount program of its own.
class flash_test : public daemon_test {
 protected:
  using texts = std::vector<std::string>;

  void SetUp() override;

  // Whether SetUp() was neither skipped nor a failure so far.
  static bool ready();

  // Sends a record for vesk.log unless another file type is given, and waits for what comes back.
  response send(const std::string &data, uint16_t file_type = 5);

  // The same for a record that is to be on the flash before it is answered.
  response send_synchronous(const std::string &data);

  // The daemon is killed, and started as after a boot.
  void boot();

  broken_flash flash;
};

// The same, and vesk.log has one entry: 20 bytes of global header, 20 of its own header, 8 of data.
class used_flash_test : public flash_test {
 protected:
  void SetUp() override;

  std::string before_;  // the file
};

}  // namespace vesk::test
