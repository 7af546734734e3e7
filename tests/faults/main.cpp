// Lets one call of the daemon after the other fail, in every way, and holds what happens against
// tables written out by hand.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/faults/report.h"

namespace vesk::test {
namespace {

struct options {
  bool full = false;
  std::vector<std::string> only;
  std::vector<std::string> show;
};

std::vector<workload> chosen_workloads(const std::vector<std::string> &names) {
  const std::vector<workload> all = all_workloads();
  if (names.empty()) return all;
  std::vector<workload> chosen;
  for (const std::string &name : names) {
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const workload &w) { return w.name == name; });
    if (found == all.end()) throw std::runtime_error("there is no workload \"" + name + "\"");
    chosen.push_back(*found);
  }
  return chosen;
}

int try_all(const options &chosen) {
  report report;
  for (const workload &workload : chosen_workloads(chosen.only)) {
    try_all_faults(workload, chosen.full ? extent::full : extent::quick, report);
  }
  std::cout << as_table(report.rows) << std::flush;
  for (const std::string &complaint : report.complaints) std::cerr << "\n" << complaint;
  if (report.broken == 0) return 0;
  std::cerr << "\nfaults: " << report.broken
            << " went otherwise than expected; the first of each workload are above\n";
  return 1;
}

// A workload, a call as "write:3", a failure as "ENOSPC" or "7 and EIO".
int show(const std::vector<std::string> &words) {
  const workload workload = chosen_workloads({words[0]}).front();
  trials trials(workload);
  for (const fault_point &point : trials.points()) {
    if (point.kind + ":" + std::to_string(point.number) != words[1]) continue;
    for (const failure &failure : failures_of(point.kind, point.size, extent::full)) {
      if (as_text(failure) != words[2]) continue;
      for (const lasting lasts : {lasting::once, lasting::for_ever}) {
        std::cout << picture_of(workload, point, failure, lasts, trials.run(point, failure, lasts));
      }
      return 0;
    }
    throw std::runtime_error("\"" + words[2] + "\" is no failure of this call");
  }
  throw std::runtime_error("there is no call \"" + words[1] + "\" in this workload");
}

int list() {
  for (const workload &workload : all_workloads()) std::cout << workload.name << "\n";
  return 0;
}

int run(int argc, char **argv) {
  CLI::App app{"Let one call of the daemon after the other fail, and say how that ends."};
  options chosen;
  bool quick = false, names = false;
  auto *quick_flag = app.add_flag("--quick", quick, "a few seconds: the default");
  auto *full_flag = app.add_flag("--full", chosen.full, "every short count of every transfer");
  auto *only = app.add_option("--only", chosen.only, "these workloads alone");
  auto *show_option =
      app.add_option("--show", chosen.show, "tell one fault: workload, call, failure")->expected(3);
  auto *list_flag = app.add_flag("--list", names, "the names of the workloads");
  full_flag->excludes(quick_flag);
  for (CLI::Option *alone : {show_option, static_cast<CLI::Option *>(list_flag)}) {
    alone->excludes(quick_flag)->excludes(full_flag)->excludes(only);
  }
  show_option->excludes(list_flag);
  CLI11_PARSE(app, argc, argv);
  if (names) return list();
  return chosen.show.empty() ? try_all(chosen) : show(chosen.show);
}

}  // namespace
}  // namespace vesk::test

int main(int argc, char **argv) {
  try {
    return vesk::test::run(argc, argv);
  } catch (const std::exception &e) {
    std::cerr << "faults: " << e.what() << "\n";
  }
  return 2;
}
