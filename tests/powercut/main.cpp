// Lets the power go at every byte of the daemon's writes, and tells what is lost.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/powercut/show.h"
#include "tests/powercut/workers.h"
#include "tests/support/files.h"

namespace vesk::test {
namespace {

struct options {
  bool full = false;
  size_t jobs = std::max(std::thread::hardware_concurrency(), 1u);
  std::string committed;
  std::vector<std::string> show;
};

std::string table_in(const std::string &path) {
  if (!exists(path)) throw std::runtime_error(path + " cannot be read");
  return contents_of(path);
}

// The cases of the full table are those of the quick one, and more of their kind.
int show(const std::string &case_name, const std::string &cut) {
  const std::optional<cut_name> name = cut_name_of(cut);
  if (!name) throw std::runtime_error("\"" + cut + "\" names no cut; 0:417 or 0:417:35 would");
  for (const case_plan &plan : planned_cases(extent::full)) {
    if (plan.name != case_name) continue;
    std::cout << story_of(plan, *name);
    return 0;
  }
  throw std::runtime_error("there is no case \"" + case_name + "\"");
}

int try_all(const options &chosen) {
  const std::string committed = chosen.committed.empty() ? "" : table_in(chosen.committed);
  const work_limits limits{.processes = chosen.jobs,
                           .most_repairs = chosen.full ? 5u : 2u,
                           .show_progress = isatty(STDERR_FILENO) != 0};
  const std::vector<named_tally> rows =
      try_cases(planned_cases(chosen.full ? extent::full : extent::quick), limits);
  std::cout << as_table(rows) << std::flush;
  const std::vector<std::string> found =
      chosen.committed.empty() ? failures_of(rows) : complaints(rows, committed);
  for (const std::string &complaint : found) std::cerr << "powercut: " << complaint << "\n";
  if (found.empty()) return 0;
  std::cerr << "powercut: a cut that is named here is shown by: script/powercut --show CASE CUT\n";
  return 1;
}

int run(int argc, char **argv) {
  CLI::App app{"Let the power go at every byte of the daemon's writes, and tell what is lost."};
  options chosen;
  bool quick = false;
  auto *quick_flag = app.add_flag("--quick", quick, "a few seconds: the default");
  auto *full_flag = app.add_flag("--full", chosen.full, "more rings, above a million cuts");
  auto *committed = app.add_option("--committed", chosen.committed, "the table to hold it against");
  app.add_option("--jobs", chosen.jobs, "how many processes work")->check(CLI::Range(1, 256));
  auto *show_option =
      app.add_option("--show", chosen.show, "tell one cut: a case and a cut of it")->expected(2);
  full_flag->excludes(quick_flag);
  show_option->excludes(quick_flag)->excludes(full_flag)->excludes(committed);
  CLI11_PARSE(app, argc, argv);
  return chosen.show.empty() ? try_all(chosen) : show(chosen.show[0], chosen.show[1]);
}

}  // namespace
}  // namespace vesk::test

int main(int argc, char **argv) {
  try {
    return vesk::test::run(argc, argv);
  } catch (const std::out_of_range &) {
    std::cerr << "powercut: there is no such cut\n";
  } catch (const std::exception &e) {
    std::cerr << "powercut: " << e.what() << "\n";
  }
  return 2;
}
