// Everything that can be known from outside about a daemon and its flash, and how it is shown.
#pragma once

#include <algorithm>
#include <optional>
#include <span>
#include <vector>

#include "base/vesk_failure.h"
#include "protocol/vesk_wire.h"
#include "tools/shared/flash.h"
#include "tools/veskctl/daemon.h"

namespace vesk::veskctl {

struct findings {
  bool answers;                          // whether anything came back from the daemon
  double answer_seconds;                 // how long that took
  std::optional<vesk_wire_status> host;  // what it reports of itself
  failure daemon_trouble;                // why it reports nothing

  bool marked;
  shared::file_system flash;

  std::vector<event> errors;  // of the event history, oldest first
  failure errors_trouble;     // why they are not known

  std::span<const event> latest_errors() const {
    constexpr size_t errors_shown = 5;
    return std::span(errors).last(std::min(errors.size(), errors_shown));
  }
};

// As lines for people, and as one line of JSON.
void print_status(const findings &found);
void print_status_json(const findings &found);

}  // namespace vesk::veskctl
