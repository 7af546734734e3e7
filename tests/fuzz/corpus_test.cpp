// What the fuzzer was started from, and what it found, again and again.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <ostream>

#include "tests/fuzz/corpus.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace vesk::test {

void PrintTo(const corpus_file &file, std::ostream *out) {
  *out << file.name;
}

namespace {

class Corpus : public ::testing::TestWithParam<corpus_file> {};

TEST_P(Corpus, promises_hold) {
  EXPECT_EQ(LLVMFuzzerTestOneInput(GetParam().bytes.data(), GetParam().bytes.size()), 0);
}

INSTANTIATE_TEST_SUITE_P(Image, Corpus, ::testing::ValuesIn(corpus().begin(), corpus().end()),
                         [](const auto &file) { return std::string(file.param.name); });

}  // namespace
}  // namespace vesk::test
