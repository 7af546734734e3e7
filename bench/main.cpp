// Measures the daemon and its tools and prints one table; script/bench sets everything up for it.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bench/flash.h"
#include "bench/full_stores.h"
#include "bench/process.h"
#include "bench/records.h"
#include "bench/report.h"
#include "bench/stage.h"
#include "bench/store.h"
#include "bench/store_costs.h"
#include "bench/tools.h"
#include "bench/walks.h"

namespace {

using namespace vesk::bench;

// The floors are made from what it has seen.
void check_that_strace_works() {
  try {
    run({"strace", "-o", "/dev/null", "true"});
  } catch (const std::runtime_error &) {
    throw std::runtime_error(
        "strace does not work here, and the floors are made from what it sees. Run this as root "
        "with "
        "the right to mount and to trace, or where users may have namespaces");
  }
}

std::vector<store> stores(const std::string &packages) {
  std::vector<store> all = {our_store()};
  if (!packages.empty()) {
    for (store &peer : peer_stores(packages)) all.push_back(std::move(peer));
  }
  return all;
}

int measure(const std::string &json_path, const std::string &packages) {
  clear_stage();
  check_that_strace_works();
  const bool with_flash = flash_is_possible();
  if (!packages.empty() && !with_flash) {
    throw std::runtime_error("--peers needs root, with the right to mount a loop device");
  }
  report report;
  measure_records(report);
  measure_walks(report);
  const std::vector<store> beside_each_other = stores(packages);
  if (with_flash) measure_store_costs(beside_each_other, report);
  measure_full_stores(beside_each_other, report);
  measure_tools(report);
  std::cout << report.table();
  if (!json_path.empty() && !(std::ofstream(json_path) << report.json())) {
    throw std::runtime_error("cannot write " + json_path);
  }
  return 0;
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app("Measures the daemon and its tools beside what they are measured against");
  std::string json_path, packages;
  app.add_option("--json", json_path, "Writes the figures to this file as well");
  app.add_option("--peers", packages,
                 "Also measures what people would use instead, with the packages unpacked here");
  CLI11_PARSE(app, argc, argv);
  try {
    return measure(json_path, packages);
  } catch (const std::exception &error) {
    std::fprintf(stderr, "vesk_bench: %s\n", error.what());
    return 1;
  }
}
