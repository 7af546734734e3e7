// What is measured side by side: two or more ways of doing the same, in turn, several times.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace vesk::bench {

struct spread {
  double median;
  double lowest;
  double highest;
};

spread spread_of(std::vector<double> values);

// One figure of one thing measured, and of what it is measured against, in the same unit.
struct comparison {
  std::string name;
  std::string unit;
  std::string against;  // what the other one is
  spread ours;
  spread theirs;
  spread ratio;     // ours to theirs, round by round
  double goal = 0;  // of the ratio; 0: there is none
  bool more_is_better = false;

  bool met() const;

  comparison at_most(double ratio_wanted) const;
  comparison at_least(double ratio_wanted) const;
};

// Takes both in turn, so often, and gives back, for each round, what each returned.
struct both {
  std::vector<double> ours;
  std::vector<double> theirs;
};
both alternate(int rounds, const std::function<double()> &ours,
               const std::function<double()> &theirs);

comparison compare(const std::string &name, const std::string &unit, const std::string &against,
                   const both &measured);

}  // namespace vesk::bench
