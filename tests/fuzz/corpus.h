// The committed inputs of a fuzz target, built into the test program: where it runs, the source
// tree may not be.
#pragma once

#include <cstdint>
#include <span>

namespace vesk::test {

struct corpus_file {
  const char *name;
  std::span<const uint8_t> bytes;
};

std::span<const corpus_file> corpus();

}  // namespace vesk::test
