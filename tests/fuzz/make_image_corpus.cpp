// Writes the seeds of the image fuzzer: of the random cases of tests/property, in the order of
// their numbers, one for each way in which a case can go.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <set>
#include <string>

#include "tests/fuzz/image_input.h"
#include "tests/support/random_trial.h"
#include "tests/support/trial.h"

namespace vesk::test {
namespace {

constexpr uint64_t cases = 20'000;
constexpr size_t largest = 9'000;

// How it went: which writes left the file's capacity, or else what was done, to which kind of file,
// and what became of it.
std::string way_of(const trial &t, const trial_report &found) {
  if (!found.strayed.empty()) return found.strayed.front();
  return std::to_string(t.file_type) + " " + std::to_string(static_cast<int>(t.first_step)) + " " +
         std::to_string(static_cast<int>(found.what_became));
}

// One file for each way; named after the number, by which the case can be looked at.
size_t write_corpus(const std::string &dir) {
  std::set<std::string> seen;
  for (uint64_t seed = 1; seed <= cases; ++seed) {
    const trial origin = random_trial(seed);
    if (origin.file.size() > largest) continue;
    image input;
    input.push_back(
        first_byte_for(origin.first_step, origin.file_type, static_cast<uint32_t>(seed)));
    input.insert(input.end(), origin.file.begin(), origin.file.end());
    const trial t = trial_of_input(input);
    if (!seen.insert(way_of(t, run_trial(t))).second) continue;
    std::ofstream(dir + "/case_" + std::to_string(seed), std::ios::binary)
        .write(reinterpret_cast<const char *>(input.data()),
               static_cast<std::streamsize>(input.size()));
  }
  return seen.size();
}

}  // namespace
}  // namespace vesk::test

int main(int argc, char **argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s DIR\n", argv[0]);
    return 2;
  }
  std::printf("%zu inputs\n", vesk::test::write_corpus(argv[1]));
  return 0;
}
