#include "bench/walks.h"

#include <string>

#include "bench/full_files.h"
#include "bench/process.h"
#include "bench/stage.h"

namespace vesk::bench {

namespace {

constexpr int rounds = 15;

struct walk {
  const char *name;
  const char *files;  // those that it goes over
  command arguments;
};

// A ring whose 101st entry is the one that is updated.
void make_ring_to_update() {
  clear_stage();
  fill({.length = 100}, 100);
  fill({.type = 2000, .length = 100}, 1);
  fill({.length = 100}, 8600);
  keep_files("to update");
}

// A full ring of entries so small that making room passes over many.
void make_ring_of_small_entries() {
  clear_stage();
  fill({.length = 8}, 40000);
  keep_files("small entries");
}

const walk walks[] = {
    {"validation of 16 full files", full_files, {"vesk_walk", "validate"}},
    {"rebuilding the header of 1 MiB", full_files, {"vesk_walk", "recover", "5", "3"}},
    {"repairing the entries of 1 MiB", full_files, {"vesk_walk", "recover", "5", "2"}},
    {"making space, 1000 records", "small entries", {"vesk_walk", "log", "5", "1000", "1000"}},
    {"1000 updates of entry 101",
     "to update",
     {"vesk_walk", "log", "5", "100", "1000", "--update", "--type", "2000", "--instance", "1"}},
};

double milliseconds(const walk &measured, const command &program) {
  bring_files(measured.files);
  return std::stod(run(program).output) / 1e6;
}

void measure(const walk &measured, report &out) {
  bring_files(measured.files);
  run(watched(measured.arguments));
  wait_for_log();
  const both times = alternate(
      rounds, [&] { return milliseconds(measured, measured.arguments); },
      [&] {
        return milliseconds(measured, {"vesk_floor", calls_log});
      });
  out.add("Walks", compare(measured.name, "ms", "floor", times).at_most(1.2));
}

}  // namespace

void measure_walks(report &out) {
  make_full_files();
  make_ring_to_update();
  make_ring_of_small_entries();
  for (const walk &measured : walks) measure(measured, out);
}

}  // namespace vesk::bench
