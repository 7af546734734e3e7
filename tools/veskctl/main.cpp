// veskctl: talk to a running Persistent Logger.
#include <CLI/CLI.hpp>

#include "tools/veskctl/support.h"

namespace {

constexpr int usage_error = 2;

// One line, like every other failure.
std::string usage_message(const CLI::App *app, const CLI::Error &e) {
  const auto left_over = app->remaining();
  const std::string what = app->get_subcommands().empty() && !left_over.empty()
                               ? "'" + left_over.front() + "' is not a subcommand"
                               : e.what();
  return "veskctl: " + what + " (--help tells more)\n";
}

}  // namespace

int main(int argc, char **argv) {
  using namespace vesk::veskctl;
  context ctx;
  CLI::App app{"Talk to a running Persistent Logger."};
  app.name("veskctl");
  app.set_version_flag("--version", "veskctl " VESK_VERSION_TEXT);
  app.add_option("--run-dir", ctx.run_dir,
                 "Directory of the daemon's sockets (default: VESK_RUN_DIR, or /run/vesk)")
      ->type_name("DIR");
  app.add_option("--timeout", ctx.timeout, "Seconds to wait for the daemon, for each request")
      ->capture_default_str()
      ->type_name("SECONDS")
      ->check(within(0.001, 86400.0));
  app.footer(
      "Exit status: 0 done, 1 refused or failed, 2 wrong usage.\n\n"
      "Examples:\n"
      "  dmesg | veskctl send --file kernel --uuid 510\n"
      "  veskctl status\n"
      "  veskctl clear temperature_err\n"
      "  veskctl send --help");
  app.failure_message(usage_message);
  app.require_subcommand(1);
  app.fallthrough();  // the options above may also stand behind the subcommand

  add_send(app, ctx);
  add_stats(app, ctx);
  add_commands(app, ctx);
  add_config(app, ctx);
  add_recover(app, ctx);
  add_fail_notice(app, ctx);
  add_debug(app, ctx);
  add_history(app, ctx);
  add_monitor(app, ctx);
  add_status(app, ctx);
  add_snapshot(app, ctx);
  add_metrics(app, ctx);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &e) {
    return app.exit(e) == 0 ? 0 : usage_error;  // asking for help or the version is no error
  }
  return ctx.status;
}
