#include "bench/store.h"

#include <algorithm>
#include <stdexcept>

namespace vesk::bench {

void check_that_all_are_stored(const store &checked, const std::string &word, int records) {
  const std::string found = run(checked.search(word)).output;
  const auto lines = std::count(found.begin(), found.end(), '\n');
  if (lines != records) {
    throw std::runtime_error(checked.name + " has stored " + std::to_string(lines) + " of " +
                             std::to_string(records) + " records");
  }
}

}  // namespace vesk::bench
