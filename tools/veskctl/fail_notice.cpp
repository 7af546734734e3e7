// veskctl fail-notice: tell the daemon that its flash has failed.
#include <cstdio>

#include "protocol/vesk_messages.h"
#include "tools/veskctl/support.h"

namespace vesk::veskctl {
namespace {

struct notice_options {
  uint32_t slot = 0;
  uint32_t kind = VESK_FLASH_FAILURE;
};

int run(const context &ctx, const notice_options &options) {
  const client_ptr client = open_client(ctx);
  if (!client) return 1;
  vesk_failure_notice notice{};
  notice.kind = options.kind;
  notice.slot = options.slot;
  const int status = status_of(
      *client, vesk_client_confirm(client.get(), IPQ_OPC_RUDA_FAIL_NOTICE, &notice, sizeof notice));
  if (status == 0) std::printf("sent failure kind %u for slot %u\n", options.kind, options.slot);
  return status;
}

}  // namespace

void add_fail_notice(CLI::App &app, context &ctx) {
  auto *sub = app.add_subcommand("fail-notice", "Tell the daemon that a card's flash has failed");
  auto options = std::make_shared<notice_options>();
  sub->add_option("--slot", options->slot, "Slot of the card; the daemon heeds only its own")
      ->required()
      ->type_name("N");
  sub->add_option("--kind", options->kind, "Kind of failure; the daemon heeds only 3, the flash")
      ->capture_default_str()
      ->type_name("N");
  sub->footer(
      "WARNING: this disables all logging on that card and forbids to enable it or to clear a\n"
      "file. It lasts until the daemon is restarted; no message takes it back. Only root and the\n"
      "daemon's own user may do this.\n\n"
      "Examples:\n"
      "  veskctl fail-notice --slot 1");
  sub->callback([&ctx, options] { ctx.status = run(ctx, *options); });
}

}  // namespace vesk::veskctl
