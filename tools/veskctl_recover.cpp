// veskctl recover: have the daemon repair a log file now.
#include <cstdio>

#include "daemon/vesk_messages.h"
#include "store/vesk_format.h"
#include "tools/veskctl_support.h"

namespace vesk::ctl {
namespace {

struct recover_options {
  uint32_t file_type = 0;
  bool entries = false;
};

int run(const context &ctx, const recover_options &options) {
  const client_ptr client = open_client(ctx);
  if (!client) return 1;
  const vesk_recover_request request = {options.file_type, options.entries ? 1u : 0u};
  const int status = status_of(
      *client, vesk_client_confirm(client.get(), IPQ_OPC_VESK_RECOVER, &request, sizeof request));
  if (status == 0) {
    std::printf("asked to %s of %s\n",
                options.entries ? "repair the entry headers" : "rebuild the global header",
                file_label(options.file_type).c_str());
  }
  return status;
}

}  // namespace

void add_recover(CLI::App &app, context &ctx) {
  auto *sub = app.add_subcommand("recover", "Have the daemon repair a log file now");
  auto options = std::make_shared<recover_options>();
  sub->add_option("file", options->file_type, "Log file: its name or its file type")
      ->required()
      ->type_name("FILE")
      ->transform(file_type_up_to(VESK_MAX_FILE_TYPES - 1));
  sub->add_flag("--entries", options->entries,
                "Trust the global header and repair the entries; without, rebuild the header");
  sub->footer(
      "Only root and the daemon's own user may do this. The daemon does not say how it went: look\n"
      "at 'veskctl history'. A file that cannot be repaired is removed. Do not repair a file that\n"
      "is sound: the repair rewrites most entry headers, and many of them cannot be read any "
      "more.\n"
      "Copy the file first. The kernel logs are left as they are; asking for one leaves it open "
      "in\n"
      "the daemon.\n\n"
      "Examples:\n"
      "  veskctl recover platform\n"
      "  veskctl recover platform --entries");
  sub->callback([&ctx, options] { ctx.status = run(ctx, *options); });
}

}  // namespace vesk::ctl
