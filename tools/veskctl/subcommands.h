// What veskctl can do; each subcommand is one file of its name. Each prints what it has to say and
// returns the exit status.
#pragma once

#include "tools/veskctl/options.h"

namespace vesk::veskctl {

[[nodiscard]] int send(const options &wanted);
[[nodiscard]] int stats(const options &wanted);
[[nodiscard]] int command(const options &wanted);  // enable, disable, clear
[[nodiscard]] int config(const options &wanted);
[[nodiscard]] int recover(const options &wanted);
[[nodiscard]] int fail_notice(const options &wanted);
[[nodiscard]] int debug(const options &wanted);
[[nodiscard]] int history(const options &wanted);
[[nodiscard]] int monitor(const options &wanted);
[[nodiscard]] int status(const options &wanted);
[[nodiscard]] int snapshot(const options &wanted);
[[nodiscard]] int metrics(const options &wanted);

}  // namespace vesk::veskctl
