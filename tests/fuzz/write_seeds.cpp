#include "tests/fuzz/write_seeds.h"

#include <cstdio>
#include <exception>

#include "tests/support/file_bytes.h"

namespace vesk::test {

int write_seeds(int argc, char **argv, const std::map<std::string, std::string> &seeds) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s DIR\n", argv[0]);
    return 2;
  }
  try {
    for (const auto &[name, bytes] : seeds) store(std::string(argv[1]) + "/" + name, bytes);
  } catch (const std::exception &error) {
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 1;
  }
  return 0;
}

}  // namespace vesk::test
