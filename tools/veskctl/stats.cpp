// veskctl stats: what each sender has stored.
#include <cstdio>
#include <vector>

#include "tools/shared/json.h"
#include "tools/veskctl/daemon.h"
#include "tools/veskctl/output.h"
#include "tools/veskctl/subcommands.h"

namespace vesk::veskctl {
namespace {

using shared::write_member;
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
    write_member(writer, "uuid", uuid);
    write_member(writer, "entries", rows[uuid].entry_count);
    write_member(writer, "bytes", rows[uuid].byte_count);
    writer.EndObject();
  }
  writer.EndArray();
  shared::print_json(written);
}

}  // namespace

int stats(const options &wanted) {
  const client_ptr client = open_client(wanted);
  if (!client) return 1;
  statistics rows(VESK_CLIENT_STATISTICS_ROWS);
  const auto code = vesk_client_statistics(client.get(), rows.data());
  if (code != VESK_CLIENT_OK) return status_of(failure_of(*client, code));
  wanted.json ? print_array(rows) : print_table(rows);
  return 0;
}

}  // namespace vesk::veskctl
