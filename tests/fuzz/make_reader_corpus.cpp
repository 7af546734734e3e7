// Writes the seeds of the reader fuzzer: one small file for each thing that a reader may come upon.
#include <map>
#include <string>

#include "tests/fuzz/write_seeds.h"
#include "tests/support/file_bytes.h"

namespace vesk::test {
namespace {

// First bytes: the 8 KiB file, and a file that the catalogue does not know.
const std::string type_7(1, '\x08');
const std::string unknown(1, '\x10');

// A full ring: one entry that fills it up to a null entry at the capacity, and one behind the wrap.
std::string wrapped() {
  return gheader(8192, 76, 52) + gamma_ray() + stale(24) +
         entry({.type = 3000}, std::string(8068, 'x')) + null8();
}

std::map<std::string, std::string> seeds() {
  const std::string three = alpha() + beta() + gamma_ray();
  // As a repair leaves them: 0 - 20, 0 - 8, and behind a null entry of eight bytes 0 - 8.
  const std::string rewritten = entry({.sum = 0xFFEB, .prev_size = 20}, "repaired") +
                                entry({.sum = 0xFFF7, .prev_size = 8}, "repaired") + null8() +
                                entry({.sum = 0xFFF7, .prev_size = 8}, "repaired");
  const std::string torn = entry({.uuid = 5, .size = 100}, "torn");
  return {
      {"empty", type_7},
      {"new_file", type_7 + gheader(8192, 20, 20)},
      {"sound", type_7 + file_of(three)},
      {"sound_of_no_type", unknown + gheader(120, 20, 104) + three},
      {"wrapped", unknown + gheader(120, 64, 52) + gamma_ray() + stale(12) + alpha() + null8()},
      {"wrapped_8_kib", type_7 + wrapped()},
      {"broken_entry", type_7 + file_of(alpha() + stale(24) + gamma_ray())},
      {"broken_gheader", type_7 + gheader(8192, 20, 104, 0x1234) + three},
      {"cut", type_7 + file_of(three).substr(0, 95)},
      {"cut_behind_a_header", type_7 + file_of(three).substr(0, 92)},
      {"discarded", type_7 + gheader(8192, 48, 104) + three},
      {"repaired", type_7 + gheader(8192, 20, 20) + rewritten},
      {"torn", type_7 + gheader(8192, 20, 48) + alpha() + torn + three + stale(60)},
      {"copies", type_7 + file_of(entry({.uuid = 5}, alpha() + beta()) + gamma_ray())},
      {"two_files", unknown + stale(12) + file_of(three) + file_of(alpha()) + stale(40)},
      {"odd_entry", type_7 + file_of(entry({.uuid = 0, .type = 7, .prev_size = 3}, "12345678"))},
  };
}

}  // namespace
}  // namespace vesk::test

int main(int argc, char **argv) {
  return vesk::test::write_seeds(argc, argv, vesk::test::seeds());
}
