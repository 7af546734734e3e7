// Lets several senders log for a long time while the daemon is killed again and again, and looks
// whether what it said is true.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "tests/soak/course.h"
#include "tests/soak/parts.h"
#include "tests/soak/report.h"

namespace vesk::soak {
namespace {

struct options {
  bool full = false;
  uint64_t seed = 1;
};

bool within_limits(const course_result &result) {
#if defined(__SANITIZE_ADDRESS__)
  return result.used.descriptors <= 16;
#else
  return result.used.descriptors <= 16 && result.used.resident_kib <= 8192;
#endif
}

int run(const options &chosen) {
  const bool person = isatty(STDERR_FILENO) != 0;
  const progress tell = [&](const std::string &line) {
    std::cerr << (person ? "\r\033[K" : "") << line << (person ? "" : "\n") << std::flush;
  };
  std::cout << "seed " << chosen.seed << "\n" << std::flush;
  std::vector<course_result> results;
  bool kept = true;
  for (const part &of : parts_of(chosen.full ? extent::full : extent::quick)) {
    results.push_back(run_part(of, chosen.seed, tell));
    kept &= results.back().failure_count == 0 && within_limits(results.back());
  }
  if (person) std::cerr << "\r\033[K";
  std::cout << as_table(results);
  for (const course_result &result : results) {
    for (const std::string &hit : result.hits) std::cout << result.name << ": " << hit << "\n";
  }
  std::cout << std::flush;
  for (const course_result &result : results) {
    for (const std::string &failure : result.failures) {
      std::cerr << "soak: " << result.name << ": " << failure << "\n";
    }
    if (!within_limits(result)) {
      std::cerr << "soak: " << result.name << ": the daemon takes more than 8 MiB or 16 files\n";
    }
  }
  return kept ? 0 : 1;
}

int parse_and_run(int argc, char **argv) {
  CLI::App app{"Kill the daemon again and again while it is at work, and look what is lost."};
  options chosen;
  bool quick = false;
  auto *quick_flag = app.add_flag("--quick", quick, "some seconds: the default");
  app.add_flag("--full", chosen.full, "half a million records")->excludes(quick_flag);
  app.add_option("--seed", chosen.seed, "another seed sends other records")->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  if (access("/.vesk-root", F_OK) != 0) {
    std::cerr << "soak: empties /mnt/vesk and /run/vesk, so it runs in a private root only: "
                 "script/soak\n";
    return 2;
  }
  return run(chosen);
}

}  // namespace
}  // namespace vesk::soak

int main(int argc, char **argv) {
  try {
    return vesk::soak::parse_and_run(argc, argv);
  } catch (const std::exception &e) {
    std::cerr << "soak: " << e.what() << "\n";
  }
  return 2;
}
