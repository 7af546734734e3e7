#include "bench/comparison.h"

#include <algorithm>

namespace vesk::bench {

spread spread_of(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return {values[values.size() / 2], values.front(), values.back()};
}

bool comparison::met() const {
  return goal == 0 || (more_is_better ? ratio.median >= goal : ratio.median <= goal);
}

comparison comparison::at_most(double ratio_wanted) const {
  comparison with_goal = *this;
  with_goal.goal = ratio_wanted;
  return with_goal;
}

comparison comparison::at_least(double ratio_wanted) const {
  comparison with_goal = at_most(ratio_wanted);
  with_goal.more_is_better = true;
  return with_goal;
}

both alternate(int rounds, const std::function<double()> &ours,
               const std::function<double()> &theirs) {
  both measured;
  for (int i = 0; i < rounds; ++i) {
    measured.ours.push_back(ours());
    measured.theirs.push_back(theirs());
  }
  return measured;
}

comparison compare(const std::string &name, const std::string &unit, const std::string &against,
                   const both &measured) {
  std::vector<double> ratios;
  for (size_t i = 0; i < measured.ours.size(); ++i) {
    ratios.push_back(measured.ours[i] / measured.theirs[i]);
  }
  comparison result;
  result.name = name;
  result.unit = unit;
  result.against = against;
  result.ours = spread_of(measured.ours);
  result.theirs = spread_of(measured.theirs);
  result.ratio = spread_of(ratios);
  return result;
}

}  // namespace vesk::bench
