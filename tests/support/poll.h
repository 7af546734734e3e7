// Waiting for something that another process does.
#pragma once

#include <chrono>
#include <thread>

namespace vesk::test {

// Asks again and again until the answer is yes, for at most ten seconds. Returns the last answer.
template <typename Question>
bool eventually(Question question) {
  using namespace std::chrono_literals;
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (!question()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(1ms);
  }
  return true;
}

}  // namespace vesk::test
