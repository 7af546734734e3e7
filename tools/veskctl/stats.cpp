// veskctl stats: what each sender has stored.
#include <cstdio>
#include <vector>

#include "tools/shared/json.h"
#include "tools/veskctl/support.h"

namespace vesk::veskctl {
namespace {

using statistics = std::vector<vesk_client_sender_statistics>;

bool has_stored(const vesk_client_sender_statistics &row) {
  return row.entry_count != 0 || row.byte_count != 0;
}

void print_table(const statistics &rows) {
  std::printf("%6s %12s %12s\n", "UUID", "ENTRIES", "BYTES");
  for (size_t uuid = 0; uuid < rows.size(); ++uuid) {
    const auto &row = rows[uuid];
    if (has_stored(row)) std::printf("%6zu %12u %12u\n", uuid, row.entry_count, row.byte_count);
  }
}

void print_array(const statistics &rows) {
  rapidjson::StringBuffer written;
  rapidjson::Writer<rapidjson::StringBuffer> writer(written);
  writer.StartArray();
  for (size_t uuid = 0; uuid < rows.size(); ++uuid) {
    if (!has_stored(rows[uuid])) continue;
    writer.StartObject();
    writer.Key("uuid");
    writer.Uint64(uuid);
    writer.Key("entries");
    writer.Uint(rows[uuid].entry_count);
    writer.Key("bytes");
    writer.Uint(rows[uuid].byte_count);
    writer.EndObject();
  }
  writer.EndArray();
  shared::print_json(written);
}

int run(const context &ctx, bool json) {
  const client_ptr client = open_client(ctx);
  if (!client) return 1;
  statistics rows(VESK_CLIENT_STATISTICS_ROWS);
  const int status = status_of(*client, vesk_client_statistics(client.get(), rows.data()));
  if (status != 0) return status;
  if (json) {
    print_array(rows);
  } else {
    print_table(rows);
  }
  return 0;
}

}  // namespace

void add_stats(CLI::App &app, context &ctx) {
  auto *sub = app.add_subcommand(
      "stats", "Show how many entries and bytes each sender has stored since the daemon started");
  auto json = std::make_shared<bool>(false);
  sub->add_flag("--json", *json, "Print an array of objects in place of the table");
  sub->footer(
      "A successful clear of any file sets the statistics back to zero. Bytes are those in the\n"
      "log files: headers and padding included. Both counts begin anew at 2^32.\n\n"
      "Examples:\n"
      "  veskctl stats\n"
      "  veskctl stats --json | jq '.[] | select(.uuid == 510)'\n"
      "  veskctl stats --run-dir /tmp/root/run/vesk");
  sub->callback([&ctx, json] { ctx.status = run(ctx, *json); });
}

}  // namespace vesk::veskctl
