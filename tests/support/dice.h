// Chance, from one number: the same number gives the same throws everywhere.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <random>

namespace vesk::test {

class dice {
 public:
  explicit dice(uint64_t seed) : engine_(seed) {}

  uint64_t any() { return engine_(); }
  uint32_t word() { return static_cast<uint32_t>(engine_() >> 32); }
  uint8_t byte() { return static_cast<uint8_t>(engine_() >> 56); }
  // 0 up to, not including, `limit`; the slight preference for small numbers does no harm.
  uint32_t below(uint32_t limit) { return word() % limit; }
  uint32_t between(uint32_t low, uint32_t high) { return low + below(high - low + 1); }
  bool one_in(uint32_t n) { return below(n) == 0; }
  template <typename Value>
  Value one_of(std::initializer_list<Value> values) {
    return values.begin()[below(static_cast<uint32_t>(values.size()))];
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace vesk::test
