// veskctl stats: what each sender has stored.
#include <cstdio>
#include <vector>

#include "tools/veskctl_support.h"

namespace vesk::ctl {
namespace {

int run(const context &ctx) {
  const client_ptr client = open_client(ctx);
  if (!client) return 1;
  std::vector<vesk_client_sender_statistics> rows(VESK_CLIENT_STATISTICS_ROWS);
  const int status = status_of(*client, vesk_client_statistics(client.get(), rows.data()));
  if (status != 0) return status;
  std::printf("%6s %12s %12s\n", "UUID", "ENTRIES", "BYTES");
  for (size_t uuid = 0; uuid < rows.size(); ++uuid) {
    const auto &row = rows[uuid];
    if (row.entry_count == 0 && row.byte_count == 0) continue;
    std::printf("%6zu %12u %12u\n", uuid, row.entry_count, row.byte_count);
  }
  return 0;
}

}  // namespace

void add_stats(CLI::App &app, context &ctx) {
  auto *sub = app.add_subcommand(
      "stats", "Show how many entries and bytes each sender has stored since the daemon started");
  sub->footer(
      "A successful clear of any file sets the statistics back to zero. Bytes are those in the\n"
      "log files: headers and padding included.\n\n"
      "Examples:\n"
      "  veskctl stats\n"
      "  veskctl stats --run-dir /tmp/root/run/vesk");
  sub->callback([&ctx] { ctx.status = run(ctx); });
}

}  // namespace vesk::ctl
