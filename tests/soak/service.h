// The daemon as a service that is killed, started again, and booted, as the packaged unit does it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/support/program.h"

namespace vesk::soak {

inline constexpr char log_directory[] = "/mnt/vesk";
inline constexpr char copies_directory[] = "/var/lib/vesk/preserved";

// What the daemon took of the machine at most, where that can be read.
struct most_used {
  long resident_kib = 0;
  long descriptors = 0;
};

class service {
 public:
  // No log files, no copies, never started: the state before the first boot.
  static void wipe();

  // Copies what a first start would touch, as the packaged service does, and starts the daemon.
  // Throws std::runtime_error when the copy fails.
  void start();

  // Waits until the daemon answers. Throws std::runtime_error when it ends before or takes too
  // long.
  void wait_until_up();

  void kill();

  // What a reboot leaves of the run directory.
  static void boot();

  // The paths of all copies of this log file.
  static std::vector<std::string> copies_of(const std::string &name);

  const most_used &used() const { return used_; }
  int copied() const { return copied_; }

 private:
  void look_at_usage();

  std::optional<test::program> process_;
  bool up_ = false;
  most_used used_;
  int copied_ = 0;  // how many starts were preceded by a copy of something
};

}  // namespace vesk::soak
