// veskctl recover: have the daemon repair a log file now, but keep a copy of it first.
#include <cstdio>
#include <string>
#include <vector>

#include "base/vesk_failure.h"
#include "protocol/vesk_messages.h"
#include "tools/shared/files.h"
#include "tools/shared/flash.h"
#include "tools/shared/preserve.h"
#include "tools/shared/repairs.h"
#include "tools/veskctl/daemon.h"
#include "tools/veskctl/output.h"
#include "tools/veskctl/subcommands.h"

namespace vesk::veskctl {
namespace {

// Says where the file's bytes are kept, or what went wrong. False when something did.
[[nodiscard]] bool report(const std::string &name, const shared::preserve_result &result) {
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

// Keeps the bytes of the file, if there is one, as they are before the repair. False after a line
// on standard error.
[[nodiscard]] bool keep_copy(uint32_t file_type) {
  const auto file = shared::file_meant_by(std::to_string(file_type), shared::log_directory, true);
  if (!file || !shared::exists(*file)) return true;
  std::vector<shared::evidence> found(1);
  shared::repairs_end ended;
  if (const failure why = shared::examine(*file, ended, found[0])) {
    complain(file->path + ": " + why.reason);
    return false;
  }
  return report(file->name,
                preserve({shared::preserve_directory, uint64_t{shared::preserve_limit_mib} << 20,
                          shared::log_directory, "recover"},
                         found));
}

}  // namespace

int recover(const options &wanted) {
  const client_ptr client = open_client(wanted);
  if (!client) return 1;
  if (!wanted.recover.no_copy && !keep_copy(wanted.file_type)) {
    return status_of({"so the daemon was not asked to repair it; --no-copy asks all the same"});
  }
  std::fflush(stdout);
  const bool entries = wanted.recover.entries;
  const vesk_recover_request request = {wanted.file_type, entries ? 1u : 0u};
  const auto code =
      vesk_client_confirm(client.get(), IPQ_OPC_VESK_RECOVER, &request, sizeof request);
  if (code != VESK_CLIENT_OK) return status_of(failure_of(*client, code));
  std::printf("asked to %s of %s\n",
              entries ? "repair the entry headers" : "rebuild the global header",
              file_label(wanted.file_type).c_str());
  return 0;
}

}  // namespace vesk::veskctl
