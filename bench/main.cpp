// Measures the daemon and its tools and prints one table; script/bench sets everything up for it.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>

#include "bench/records.h"
#include "bench/report.h"
#include "bench/tools.h"
#include "bench/walks.h"

namespace {

int measure(const std::string &json_path) {
  vesk::bench::report report;
  vesk::bench::measure_records(report);
  vesk::bench::measure_walks(report);
  vesk::bench::measure_tools(report);
  std::cout << report.table();
  if (!json_path.empty()) std::ofstream(json_path) << report.json();
  return 0;
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app("Measures the daemon and its tools beside what they are measured against");
  std::string json_path;
  app.add_option("--json", json_path, "Writes the figures to this file as well");
  CLI11_PARSE(app, argc, argv);
  try {
    return measure(json_path);
  } catch (const std::exception &error) {
    std::fprintf(stderr, "vesk_bench: %s\n", error.what());
    return 1;
  }
}
