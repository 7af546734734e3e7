// Waiting until log files may have changed.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "base/vesk_fd.h"

namespace vesk::veskshow {

class change_watch {
 public:
  // Of the files at these paths, which need not exist. From now on SIGINT and SIGTERM only end the
  // waiting, unless they were ignored; there is one watch at most.
  explicit change_watch(const std::vector<std::string> &paths);

  // Waits until one of the files may have changed, a quarter of a second at least. False when there
  // is nothing more to be waited for: the user ended it, or nobody reads standard output any more.
  [[nodiscard]] bool wait();

 private:
  bool watch_directories();
  bool pause(std::chrono::milliseconds time, bool for_changes);
  void forget_changes();

  std::vector<std::string> directories_;
  unique_fd changes_;
  unique_fd stop_;
};

}  // namespace vesk::veskshow
