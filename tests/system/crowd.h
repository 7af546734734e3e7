// Processes that do one thing over and over until they are sent away.
#pragma once

#include <sys/types.h>

#include <functional>
#include <vector>

namespace vesk::test {

class crowd {
 public:
  crowd() = default;
  crowd(const crowd &) = delete;
  crowd &operator=(const crowd &) = delete;
  ~crowd();

  // Starts so many processes, each of which calls `once` again and again.
  void add(int count, const std::function<void()> &once);

  // Ends them all. Whether each was still at work.
  bool send_away();

 private:
  std::vector<pid_t> processes_;
};

}  // namespace vesk::test
