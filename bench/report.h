// What was measured: one table for people, one JSON file for programs.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "bench/comparison.h"

namespace vesk::bench {

class report {
 public:
  // Also says on standard error that this much is done.
  void add(const std::string &section, const comparison &row);

  std::string table() const;
  std::string json() const;

 private:
  std::vector<std::pair<std::string, comparison>> rows_;
};

}  // namespace vesk::bench
