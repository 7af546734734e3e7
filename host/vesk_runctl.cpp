// The system manager is systemd, as far as there is one: without it, notifications go nowhere and
// everything else works the same.
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstring>

#include "host/vesk_answer.h"
#include "host/vesk_message.h"
#include "host/vesk_pid_file.h"
#include "host/vesk_stderr.h"
#include "platform/runctl.h"
#include "protocol/vesk_run_dir.h"
#include "protocol/vesk_wire.h"

namespace {

constexpr char pid_file[] = "vesk_sup.pid";
constexpr int32_t not_ours = 2;  // none of RUNCTL_...

// How long work may take that was announced as longer than the heartbeat interval.
constexpr uint64_t busy_usecs = 10ULL * 60 * 1'000'000;

bool watchdog_lengthened;

int32_t notified(int result) {
  return result < 0 ? -1 : 0;
}

uint64_t watchdog_usecs() {
  uint64_t usecs = 0;
  return sd_watchdog_enabled(0, &usecs) > 0 ? usecs : 0;
}

// The extension concerns starting and stopping only; the watchdog has an interval of its own.
int32_t announce_long_work() {
  if (watchdog_usecs() == 0) {
    return notified(sd_notifyf(0, "EXTEND_TIMEOUT_USEC=%" PRIu64, busy_usecs));
  }
  watchdog_lengthened = true;
  return notified(sd_notifyf(0,
                             "WATCHDOG=1\nEXTEND_TIMEOUT_USEC=%" PRIu64 "\nWATCHDOG_USEC=%" PRIu64,
                             busy_usecs, busy_usecs));
}

void switch_over(vesk::message &msg) {
  uint32_t context = 0;
  if (msg.header.length != sizeof context) {
    vesk::refuse(msg, vesk::refusal::bad_request);
    return;
  }
  std::memcpy(&context, msg.payload, sizeof context);
  const uint32_t result = runctlcb_switchover(context);
  vesk::answer(msg, VESK_WIRE_ANSWER, 0, &result, sizeof result);
}

}  // namespace

uint32_t runctl_handshake(int32_t, uint32_t) {
  sd_notifyf(0, "READY=1\nMAINPID=%d\nSTATUS=Serving the sockets in %s.", getpid(),
             vesk::run_dir());
  return 0;  // the only state that a machine without a standby has
}

uint32_t runctl_last_pid_get(void) {
  sockaddr_un file;  // its path is all that is used of it
  if (!vesk::run_dir_address(vesk::run_dir(), pid_file, file)) return 0;
  const uint32_t last = vesk::read_pid(file.sun_path);
  if (!vesk::write_pid(file.sun_path, static_cast<uint32_t>(getpid()))) {
    vesk::complain(vesk::priority::warning,
                   "vesk host: cannot write %s, so the next start will not be known as a restart: "
                   "%s",
                   file.sun_path, std::strerror(errno));
  }
  return last;
}

int32_t runctl_heartbeat(uint32_t busy) {
  if (busy != 0) return announce_long_work();
  if (!watchdog_lengthened) return notified(sd_notify(0, "WATCHDOG=1"));
  watchdog_lengthened = false;
  return notified(sd_notifyf(0, "WATCHDOG=1\nWATCHDOG_USEC=%" PRIu64, watchdog_usecs()));
}

int32_t runctl_dispatch(ipq_msg *msg) {
  vesk::message *held = vesk::find_message(msg);
  if (held == nullptr) return not_ours;
  if (held->served) return RUNCTL_TOOK;
  if (held->header.opcode != VESK_WIRE_OPC_SWITCHOVER) return not_ours;
  switch_over(*held);
  return RUNCTL_TOOK;
}

int32_t runctl_switchover_done(uint32_t context, uint32_t result) {
  vesk::complain(vesk::priority::notice, "vesk host: switchover %u handled, result %u", context,
                 result);
  return 0;
}
