// Changes as the fuzzer makes them, with the sums set right behind many of them: a header whose sum
// does not hold is only ever noise, and the fuzzer would hardly ever come upon a sum that does.
#include <cstddef>
#include <cstdint>
#include <span>

#include "tests/support/dice.h"
#include "tests/support/header_bytes.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t max_size);

namespace vesk::test {
namespace {

// Goes from header to header as their sizes lead, and mends some.
void mend_sums(std::span<uint8_t> file, dice &dice) {
  if (file.size() < header_size) return;
  if (!dice.one_in(4)) {
    put32(file, 0, 0x7665736B);
    complete_sum(file.first(header_size));
  }
  const uint32_t spared = dice.between(1, 20);
  for (size_t at = first_slot; at + header_size <= file.size();) {
    const std::span<uint8_t> header = file.subspan(at, header_size);
    if (!dice.one_in(spared)) complete_sum(header);
    at += header_size + get16(header, 4);
  }
}

}  // namespace
}  // namespace vesk::test

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size,
                                          unsigned int seed) {
  vesk::test::dice dice(seed);
  size = LLVMFuzzerMutate(data, size, max_size);
  if (size > 1 && !dice.one_in(3)) vesk::test::mend_sums({data + 1, size - 1}, dice);
  return size;
}
