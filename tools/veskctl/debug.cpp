// veskctl debug: what the daemon prints and records of its own doings.
#include <cstdio>
#include <iterator>

#include "protocol/vesk_wire.h"
#include "tools/veskctl/daemon.h"
#include "tools/veskctl/output.h"
#include "tools/veskctl/subcommands.h"

namespace vesk::veskctl {
namespace {

const char *level_name(uint8_t level) {
  return level < std::size(level_names) ? level_names[level] : "unknown";
}

}  // namespace

int debug(const options &wanted) {
  const client_ptr client = open_client(wanted);
  if (!client) return 1;
  const vesk_wire_debug request = {wanted.debug.print, wanted.debug.record, {}};
  vesk_wire_debug in_force{};
  if (const auto why = ask(*client, VESK_WIRE_OPC_DEBUG, request, in_force)) return status_of(why);
  std::printf("print: %s\nrecord: %s\n", level_name(in_force.print), level_name(in_force.record));
  return 0;
}

}  // namespace vesk::veskctl
