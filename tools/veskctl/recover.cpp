// veskctl recover: have the daemon repair a log file now, but keep a copy of it first.
#include <cstdio>
#include <string>
#include <vector>

#include "format/vesk_format.h"
#include "protocol/vesk_messages.h"
#include "tools/shared/files.h"
#include "tools/shared/flash.h"
#include "tools/shared/preserve.h"
#include "tools/shared/repairs.h"
#include "tools/veskctl/support.h"

namespace vesk::veskctl {
namespace {

struct recover_options {
  uint32_t file_type = 0;
  bool entries = false;
  bool no_copy = false;
};

// Says where the file's bytes are kept, or what went wrong. Nothing of either where there is no
// file.
bool report(const std::string &name, const shared::preserve_result &result) {
  for (const std::string &path : result.evicted) {
    std::printf("%s: removed to make room\n", path.c_str());
  }
  for (const shared::preserved_file &file : result.files) {
    std::printf("%s %s %s\n", name.c_str(),
                file.known ? "has not changed since the copy" : "copied to", file.path.c_str());
  }
  for (const shared::preserve_trouble &trouble : result.troubles) {
    complain(trouble.subject + ": " + trouble.reason);
  }
  return result.troubles.empty();
}

// Keeps the bytes of the file as they are before the repair. False after a line on stderr.
bool keep_copy(uint32_t file_type) {
  const auto file = shared::file_meant_by(std::to_string(file_type), shared::log_directory, true);
  if (!file || !shared::exists(*file)) return true;
  std::vector<shared::evidence> found(1);
  shared::repairs_end ended;
  if (auto trouble = shared::examine(*file, ended, found[0]); !trouble.empty()) {
    complain(file->path + ": " + trouble);
    return false;
  }
  return report(file->name,
                preserve({shared::preserve_directory, uint64_t{shared::preserve_limit_mib} << 20,
                          shared::log_directory, "recover"},
                         found));
}

int run(const context &ctx, const recover_options &options) {
  const client_ptr client = open_client(ctx);
  if (!client) return 1;
  if (!options.no_copy && !keep_copy(options.file_type)) {
    complain("so the daemon was not asked to repair it; --no-copy asks all the same");
    return 1;
  }
  std::fflush(stdout);
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
  sub->add_flag("--no-copy", options->no_copy, "Do not keep a copy of the file as it is now");
  sub->footer(
      "Only root and the daemon's own user may do this. The daemon does not say how it went: look\n"
      "at 'veskctl history'. A file that cannot be repaired is removed. Do not repair a file that\n"
      "is sound: the repair rewrites most entry headers, and many of them cannot be read any "
      "more.\n"
      "So the file is first copied to a directory of its own in /var/lib/vesk/preserved, and\n"
      "without a copy the daemon is not asked. All copies there take 64 MiB at most; the oldest\n"
      "go first. The kernel logs are left as they are; asking for one leaves it open in the "
      "daemon.\n\n"
      "Examples:\n"
      "  veskctl recover platform\n"
      "  veskctl recover platform --entries");
  sub->callback([&ctx, options] { ctx.status = run(ctx, *options); });
}

}  // namespace vesk::veskctl
