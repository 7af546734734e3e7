// Everything that can be known from outside about a daemon and its flash.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "protocol/vesk_wire.h"
#include "tools/shared/flash.h"
#include "tools/veskctl/events.h"
#include "tools/veskctl/support.h"

namespace vesk::veskctl {

struct findings {
  bool answers;                          // whether anything came back from the daemon
  double answer_seconds;                 // how long that took
  std::optional<vesk_wire_status> host;  // what it told of itself
  std::string daemon_trouble;            // why it told nothing; else empty

  bool marked;
  shared::file_system flash;

  std::vector<event> errors;   // of the event history, oldest first
  std::string errors_trouble;  // why they are not known; else empty
};

findings look_around(vesk_client &client);

}  // namespace vesk::veskctl
