// How veskctl status shows what it found.
#pragma once

#include <algorithm>
#include <span>

#include "tools/veskctl/findings.h"

namespace vesk::veskctl {

inline std::span<const event> latest_errors(const findings &found) {
  constexpr size_t errors_shown = 5;
  const std::span<const event> all = found.errors;
  return all.last(std::min(all.size(), errors_shown));
}

// As lines for people, and as one line of JSON.
void print_status(const findings &found);
void print_status_json(const findings &found);

}  // namespace vesk::veskctl
