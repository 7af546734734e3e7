// veskctl config: which file types a module logs.
#include <cstdio>
#include <cstring>
#include <fstream>

#include "protocol/vesk_messages.h"
#include "protocol/vesk_wire.h"
#include "tools/veskctl/support.h"

namespace vesk::veskctl {
namespace {

struct config_options {
  uint32_t slot = 0;
  std::vector<std::string> enable;
  std::string raw;
};

// Whether one word stands for a whole set of files.
bool wanted(const config_options &options, const char *set) {
  return options.enable.size() == 1 && options.enable[0] == set;
}

std::vector<uint32_t> files_of(const config_options &options) {
  std::vector<uint32_t> files;
  for (const auto &file : options.enable) files.push_back(static_cast<uint32_t>(std::stoul(file)));
  return files;
}

vesk_module_config record_of(const config_options &options) {
  vesk_module_config record = {};
  if (wanted(options, "none")) return record;
  record.vesk_enable = 1;
  if (wanted(options, "all")) {
    std::memset(record.vesk_log_enable, 1, sizeof record.vesk_log_enable);
  } else {
    for (const uint32_t file : files_of(options)) record.vesk_log_enable[file] = 1;
  }
  return record;
}

std::string description(const config_options &options) {
  const std::string slot = "slot " + std::to_string(options.slot);
  if (wanted(options, "all")) return slot + ": every file type enabled";
  if (wanted(options, "none")) return slot + ": every file type disabled";
  std::string text = slot + ": enabled";
  for (const uint32_t file : files_of(options)) text += ' ' + file_label(file) + ',';
  return text + " every other file type disabled";
}

// The daemon picks its own slot's record out of an array of them.
std::vector<char> payload_of(const config_options &options) {
  std::vector<char> payload((options.slot + 1) * sizeof(vesk_module_config));
  const vesk_module_config record = record_of(options);
  std::memcpy(payload.data() + options.slot * sizeof record, &record, sizeof record);
  return payload;
}

// Stores a prepared payload. False, after a line on stderr, when there is none to be had.
bool read_raw(const std::string &path, std::vector<char> &payload) {
  std::ifstream file(path, std::ios::binary);
  payload.resize(VESK_WIRE_MAX_PAYLOAD + 1);
  file.read(payload.data(), static_cast<std::streamsize>(payload.size()));
  payload.resize(static_cast<size_t>(file.gcount()));
  if (!file.is_open() || file.bad()) {
    complain("cannot read " + path);
  } else if (payload.empty()) {
    complain(path + " is empty");
  } else if (payload.size() > VESK_WIRE_MAX_PAYLOAD) {
    complain(path + " is longer than a message may be (" + std::to_string(VESK_WIRE_MAX_PAYLOAD) +
             " bytes)");
  } else {
    return true;
  }
  return false;
}

int run(const context &ctx, const config_options &options) {
  std::vector<char> payload;
  std::string what;
  if (options.raw.empty()) {
    payload = payload_of(options);
    what = description(options);
  } else {
    if (!read_raw(options.raw, payload)) return 1;
    what = std::to_string(payload.size()) + " bytes of " + options.raw;
  }
  const client_ptr client = open_client(ctx);
  if (!client) return 1;
  const int status = status_of(*client, vesk_client_confirm(client.get(), IPQ_OPC_VESK_CONFIG,
                                                            payload.data(), payload.size()));
  if (status == 0) std::printf("sent %s\n", what.c_str());
  return status;
}

// A file, or one of the words that stand for a whole set and then stand alone.
CLI::Validator file_all_or_none() {
  return {[](std::string &typed) -> std::string {
            if (typed == "all" || typed == "none") return {};
            return file_type_up_to(VESK_MAX_FILE_TYPES - 1)(typed);
          },
          ""};
}

void check_words_alone(const config_options &options) {
  if (options.enable.size() < 2) return;
  for (const auto &word : options.enable) {
    if (word == "all" || word == "none") {
      throw CLI::ValidationError("--enable", "'" + word + "' stands for a whole set: use it alone");
    }
  }
}

}  // namespace

void add_config(CLI::App &app, context &ctx) {
  auto *sub = app.add_subcommand("config", "Send a module its configuration");
  auto options = std::make_shared<config_options>();
  auto *slot = sub->add_option("--slot", options->slot, "The module's card slot, 0 to 255")
                   ->type_name("N")
                   ->check(within(uint32_t{0}, uint32_t{UINT8_MAX}));
  auto *enable =
      sub->add_option("--enable", options->enable, "The files to log; every other one is disabled")
          ->delimiter(',')
          ->type_name("FILE,...|all|none")
          ->transform(file_all_or_none());
  auto *raw = sub->add_option("--raw", options->raw, "Send a prepared payload from this file")
                  ->type_name("PATH");
  slot->needs(enable);
  enable->needs(slot);
  raw->excludes(slot)->excludes(enable);
  sub->footer(
      "The daemon takes only the record of its own slot and gives no answer: \"sent\" means that\n"
      "it let the message go, which it does unread while the flash is not mounted. Only root and\n"
      "the daemon's own user may do this.\n\n"
      "Examples:\n"
      "  veskctl config --slot 1 --enable all\n"
      "  veskctl config --slot 1 --enable kernel,platform,38\n"
      "  veskctl config --raw modules.bin");
  sub->callback([&ctx, options] {
    if (options->raw.empty() && options->enable.empty()) {
      throw CLI::RequiredError("--slot and --enable, or --raw");
    }
    check_words_alone(*options);
    ctx.status = run(ctx, *options);
  });
}

}  // namespace vesk::veskctl
