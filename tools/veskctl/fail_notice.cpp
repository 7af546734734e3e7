// veskctl fail-notice: reports to the daemon that its flash has failed.
#include <cstdio>

#include "protocol/vesk_messages.h"
#include "tools/veskctl/daemon.h"
#include "tools/veskctl/output.h"
#include "tools/veskctl/subcommands.h"

namespace vesk::veskctl {

int fail_notice(const options &wanted) {
  const client_ptr client = open_client(wanted);
  if (!client) return 1;
  const uint32_t kind = wanted.failure_kind;
  vesk_failure_notice notice{};
  notice.kind = kind;
  notice.slot = wanted.slot;
  const auto code =
      vesk_client_confirm(client.get(), IPQ_OPC_RUDA_FAIL_NOTICE, &notice, sizeof notice);
  if (code != VESK_CLIENT_OK) return status_of(failure_of(*client, code));
  std::printf("sent failure kind %u for slot %u\n", kind, wanted.slot);
  return 0;
}

}  // namespace vesk::veskctl
