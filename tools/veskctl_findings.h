// Everything that can be known from outside about a daemon and its flash.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/vesk_wire.h"
#include "tools/veskctl_events.h"
#include "tools/veskctl_flash.h"
#include "tools/veskctl_support.h"

namespace vesk::ctl {

struct findings {
  bool answers;                          // whether anything came back from the daemon
  double answer_seconds;                 // how long that took
  std::optional<vesk_wire_status> host;  // what it told of itself
  std::string daemon_trouble;            // why it told nothing; else empty

  bool marked;
  file_system flash;

  std::vector<event> errors;   // of the event history, oldest first
  std::string errors_trouble;  // why they are not known; else empty
};

findings look_around(vesk_client &client);

}  // namespace vesk::ctl
