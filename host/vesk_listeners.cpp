#include "host/vesk_listeners.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/vesk_clock.h"
#include "host/vesk_counters.h"
#include "host/vesk_outbox.h"
#include "host/vesk_rate_limit.h"
#include "host/vesk_stderr.h"
#include "protocol/vesk_run_dir.h"
#include "protocol/vesk_wire.h"

namespace vesk {
namespace {

rate_limit missed_lines;

void missed(const char *listener, const char *reason) {
  ++counters.listeners_missed;
  const auto left_out = missed_lines.pass(monotonic_usecs());
  if (!left_out) return;
  complain(priority::warning, "vesk host: listener \"%s\" misses a message: %s (%u more not shown)",
           listener, reason, *left_out);
}

// Only a socket is a listener: with a link, anybody who may write to this directory could make us
// send anywhere.
bool is_socket(const char *path) {
  struct stat st;
  return lstat(path, &st) == 0 && S_ISSOCK(st.st_mode);
}

void send_to(const char *listener, const vesk_wire_header &header, const void *payload) {
  char name[sizeof VESK_WIRE_LISTENERS + sizeof dirent::d_name];
  std::snprintf(name, sizeof name, "%s/%s", VESK_WIRE_LISTENERS, listener);
  sockaddr_un address;
  if (!run_dir_address(run_dir(), name, address)) {
    missed(listener, "its name is too long for a socket");
    return;
  }
  if (!is_socket(address.sun_path)) return;
  if (send_datagram(address, sizeof address, header, payload) == 0) {
    ++counters.listeners_reached;
  } else if (errno == ECONNREFUSED) {
    unlink(address.sun_path);
  } else {
    missed(listener, errno == EAGAIN ? "it does not read them" : std::strerror(errno));
  }
}

}  // namespace

void send_to_listeners(uint32_t opcode, const void *payload, uint32_t length) {
  sockaddr_un directory;
  if (!run_dir_address(run_dir(), VESK_WIRE_LISTENERS, directory)) return;
  DIR *dir = opendir(directory.sun_path);
  if (dir == nullptr) return;
  const vesk_wire_header header = make_header(0, opcode, 0, length);
  while (const dirent *entry = readdir(dir)) send_to(entry->d_name, header, payload);
  closedir(dir);
}

}  // namespace vesk
