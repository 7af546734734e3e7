// veskctl config: which file types a module logs.
#include <cstdio>
#include <cstring>
#include <fstream>

#include "protocol/vesk_messages.h"
#include "protocol/vesk_wire.h"
#include "tools/veskctl/daemon.h"
#include "tools/veskctl/output.h"
#include "tools/veskctl/subcommands.h"

namespace vesk::veskctl {
namespace {

// The daemon picks its own slot's record out of an array of them.
std::vector<char> payload_of(const options &wanted) {
  vesk_module_config record = {};
  record.vesk_enable = wanted.config.all_files || !wanted.config.files.empty();
  if (wanted.config.all_files) {
    std::memset(record.vesk_log_enable, 1, sizeof record.vesk_log_enable);
  }
  for (const uint32_t file : wanted.config.files) record.vesk_log_enable[file] = 1;

  std::vector<char> payload((wanted.slot + 1) * sizeof record);
  std::memcpy(payload.data() + wanted.slot * sizeof record, &record, sizeof record);
  return payload;
}

std::string description(const options &wanted) {
  const std::string slot = "slot " + std::to_string(wanted.slot);
  if (wanted.config.all_files) return slot + ": every file type enabled";
  if (wanted.config.files.empty()) return slot + ": every file type disabled";
  std::string text = slot + ": enabled";
  for (const uint32_t file : wanted.config.files) text += ' ' + file_label(file) + ',';
  return text + " every other file type disabled";
}

// Stores a prepared payload.
failure read_raw(const std::string &path, std::vector<char> &payload) {
  std::ifstream file(path, std::ios::binary);
  payload.resize(VESK_WIRE_MAX_PAYLOAD + 1);
  file.read(payload.data(), static_cast<std::streamsize>(payload.size()));
  payload.resize(static_cast<size_t>(file.gcount()));
  if (!file.is_open() || file.bad()) return {"cannot read " + path};
  if (payload.empty()) return {path + " is empty"};
  if (payload.size() <= VESK_WIRE_MAX_PAYLOAD) return {};
  return {path + " is longer than a message may be (" + std::to_string(VESK_WIRE_MAX_PAYLOAD) +
          " bytes)"};
}

}  // namespace

int config(const options &wanted) {
  const std::string &raw = wanted.config.raw;
  std::vector<char> payload;
  if (raw.empty()) {
    payload = payload_of(wanted);
  } else if (const auto why = read_raw(raw, payload)) {
    return status_of(why);
  }
  const client_ptr client = open_client(wanted);
  if (!client) return 1;
  const auto code =
      vesk_client_confirm(client.get(), IPQ_OPC_VESK_CONFIG, payload.data(), payload.size());
  if (code != VESK_CLIENT_OK) return status_of(failure_of(*client, code));
  const std::string what =
      raw.empty() ? description(wanted) : std::to_string(payload.size()) + " bytes of " + raw;
  std::printf("sent %s\n", what.c_str());
  return 0;
}

}  // namespace vesk::veskctl
