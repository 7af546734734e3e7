// The one main() of all test programs.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

// The tests make, damage and remove files under the daemon's own paths. In a private root, which
// script/private-root marks with this file, these are nobody else's.
int main(int argc, char **argv) {
  if (access("/.vesk-root", F_OK) != 0) {
    std::fprintf(stderr,
                 "%s: these tests change files under /mnt/vesk and start only in a private root:\n"
                 "  script/private-root --fresh %s\n",
                 argv[0], argv[0]);
    return 2;
  }
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
