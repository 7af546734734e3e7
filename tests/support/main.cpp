// The one main() of all test programs.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

// The tests make, damage and remove files under the daemon's own paths. In a private root these are
// nobody else's.
int main(int argc, char **argv) {
  if (!std::getenv("VESK_PRIVATE_ROOT")) {
    std::fprintf(stderr,
                 "%s: these tests change files under /mnt/vesk and start only in a private root:\n"
                 "  script/private-root --fresh %s\n",
                 argv[0], argv[0]);
    return 2;
  }
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
