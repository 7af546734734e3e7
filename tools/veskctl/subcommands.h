// The subcommands of veskctl: each adds itself to the command line and, when it is the one that was
// typed, does its work and leaves the exit status.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace vesk::veskctl {

struct context {
  std::string run_dir;  // empty: where the library looks by itself
  double timeout = 5;   // in seconds
  int status = 0;       // to exit with
};

void add_send(CLI::App &app, context &ctx);
void add_stats(CLI::App &app, context &ctx);
void add_commands(CLI::App &app, context &ctx);  // enable, disable, clear
void add_config(CLI::App &app, context &ctx);
void add_recover(CLI::App &app, context &ctx);
void add_fail_notice(CLI::App &app, context &ctx);
void add_debug(CLI::App &app, context &ctx);
void add_history(CLI::App &app, context &ctx);
void add_monitor(CLI::App &app, context &ctx);
void add_status(CLI::App &app, context &ctx);
void add_snapshot(CLI::App &app, context &ctx);
void add_metrics(CLI::App &app, context &ctx);

}  // namespace vesk::veskctl
