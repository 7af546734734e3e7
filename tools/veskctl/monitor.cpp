// veskctl monitor: shows what the daemon sends to all listeners.
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "protocol/vesk_exception.h"
#include "protocol/vesk_messages.h"
#include "tools/shared/text.h"
#include "tools/veskctl/daemon.h"
#include "tools/veskctl/listener.h"
#include "tools/veskctl/output.h"
#include "tools/veskctl/subcommands.h"

namespace vesk::veskctl {
namespace {

using std::chrono::steady_clock;

std::string exception_text(const std::vector<uint8_t> &payload) {
  // What comes behind the time is for programs alone.
  constexpr size_t shown = offsetof(vesk_exception_record, zero_4);
  vesk_exception_record report{};
  if (payload.size() < shown) {
    return "cut short: " + std::to_string(payload.size()) + " bytes";
  }
  std::memcpy(&report, payload.data(), shown);
  return shared::formatted("code 0x%08x severity %u identity %u at ", uint32_t{report.code},
                           unsigned{report.severity}, uint32_t{report.identity}) +
         time_text(report.secs, report.usecs) + ": " +
         printable({report.text, strnlen(report.text, sizeof report.text)});
}

void show(const heard &message) {
  timeval now{};
  gettimeofday(&now, nullptr);
  const std::string when =
      time_text(static_cast<uint32_t>(now.tv_sec), static_cast<uint32_t>(now.tv_usec));
  switch (message.opcode) {
    case IPQ_OPC_VESK_UP:
      std::printf("UP %s\n", when.c_str());
      break;
    case IPQ_OPC_EXCEPTION:
      std::printf("EXCEPTION %s %s\n", when.c_str(), exception_text(message.payload).c_str());
      break;
    default:
      std::printf("MESSAGE %s opcode %u, %zu bytes\n", when.c_str(), message.opcode,
                  message.payload.size());
  }
}

// A descriptor that becomes readable when the process is asked to end, so that the socket's file is
// removed on the way out.
int32_t end_requests() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signo : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signo);
  if (sigprocmask(SIG_BLOCK, &signals, nullptr) < 0) return -1;
  return signalfd(-1, &signals, SFD_CLOEXEC);
}

// Milliseconds until `end`, rounded up.
int time_left(steady_clock::time_point end) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - steady_clock::now());
  return static_cast<int>(std::clamp<int64_t>(left.count(), 0, INT_MAX));
}

// Shows messages until enough have come, time is up or the user ends it; the latter two fail when
// fewer came than were asked for.
failure watch(listener &ears, int end_fd, const options &wanted) {
  const uint64_t enough = wanted.monitor.count;
  const double seconds = wanted.monitor.seconds;
  const auto end = steady_clock::now() + std::chrono::milliseconds(std::lround(seconds * 1000));
  uint64_t seen = 0;
  while (enough == 0 || seen < enough) {
    pollfd fds[] = {{ears.fd(), POLLIN, 0}, {end_fd, POLLIN, 0}};
    const int ready = poll(fds, std::size(fds), seconds > 0 ? time_left(end) : -1);
    if (ready < 0 && errno != EINTR) {
      return {"waiting for messages failed: " + errno_text(errno)};
    }
    if (ready == 0 || (ready > 0 && fds[1].revents != 0)) break;
    const auto message = ready > 0 ? ears.receive() : std::nullopt;
    if (!message) continue;
    show(*message);
    ++seen;
  }
  if (seen >= enough) return {};
  return {"ended after " + std::to_string(seen) + " of " + std::to_string(enough) + " messages"};
}

}  // namespace

int monitor(const options &wanted) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const unique_fd end_fd(end_requests());
  if (!end_fd) return status_of({"cannot watch for signals: " + errno_text(errno)});
  listener ears(vesk_client_run_dir(run_dir_of(wanted)));
  return status_of(ears.trouble() ? ears.trouble() : watch(ears, end_fd.get(), wanted));
}

}  // namespace vesk::veskctl
