// veskctl status: how the daemon and its flash are.
#include "tools/veskctl/status.h"

namespace vesk::veskctl {
namespace {

int run(const context &ctx, bool json) {
  const client_ptr client = open_client(ctx);
  if (!client) return 1;
  const findings found = look_around(*client);
  if (json) {
    print_status_json(found);
  } else {
    print_status(found);
  }
  return found.answers && found.marked ? 0 : 1;
}

}  // namespace

void add_status(CLI::App &app, context &ctx) {
  auto *sub = app.add_subcommand("status", "Show how the daemon and its flash are");
  auto json = std::make_shared<bool>(false);
  sub->add_flag("--json", *json,
                "Print an object in place of the lines; what is not known is absent");
  sub->footer(
      "Exit status: 0 when the daemon answers and the flash is marked as mounted, 1 otherwise; "
      "all\n"
      "that can be known is shown in either case. The counters begin at zero when the daemon "
      "starts.\n"
      "The errors, of which the latest five are shown, are for root and the daemon's own user "
      "only.\n\n"
      "Examples:\n"
      "  veskctl status\n"
      "  veskctl status --json | jq .daemon.pid");
  sub->callback([&ctx, json] { ctx.status = run(ctx, *json); });
}

}  // namespace vesk::veskctl
