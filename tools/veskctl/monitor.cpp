// veskctl monitor: show what the daemon tells everybody.
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
#include "tools/veskctl/listener.h"
#include "tools/veskctl/support.h"

namespace vesk::veskctl {
namespace {

using std::chrono::steady_clock;

struct monitor_options {
  uint64_t count = 0;  // 0: for ever
  double seconds = 0;  // 0: for ever
};

std::string exception_text(const std::vector<uint8_t> &payload) {
  // What comes behind the time is for programs alone.
  constexpr size_t shown = offsetof(vesk_exception_record, zero_4);
  vesk_exception_record report{};
  if (payload.size() < shown) {
    return "cut short: " + std::to_string(payload.size()) + " bytes";
  }
  std::memcpy(&report, payload.data(), shown);
  char head[96];
  std::snprintf(head, sizeof head, "code 0x%08x severity %u identity %u at ", uint32_t{report.code},
                unsigned{report.severity}, uint32_t{report.identity});
  return head + time_text(report.secs, report.usecs) + ": " +
         printable({report.text, strnlen(report.text, sizeof report.text)});
}

void show(uint32_t opcode, const std::vector<uint8_t> &payload) {
  timeval now{};
  gettimeofday(&now, nullptr);
  const std::string when =
      time_text(static_cast<uint32_t>(now.tv_sec), static_cast<uint32_t>(now.tv_usec));
  if (opcode == IPQ_OPC_VESK_UP) {
    std::printf("UP %s\n", when.c_str());
  } else if (opcode == IPQ_OPC_EXCEPTION) {
    std::printf("EXCEPTION %s %s\n", when.c_str(), exception_text(payload).c_str());
  } else {
    std::printf("MESSAGE %s opcode %u, %zu bytes\n", when.c_str(), opcode, payload.size());
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

// Milliseconds until `end`, rounded up; -1 for no end.
int poll_timeout(const monitor_options &options, steady_clock::time_point end) {
  if (options.seconds <= 0) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - steady_clock::now());
  return static_cast<int>(std::clamp<int64_t>(left.count(), 0, INT_MAX));
}

// Shows messages until enough have come, time is up or the user ends it. Returns how many came, or
// -1 after a line on stderr.
int64_t watch(listener &ears, int end_fd, const monitor_options &options) {
  const auto end =
      steady_clock::now() + std::chrono::milliseconds(std::lround(options.seconds * 1000));
  int64_t seen = 0;
  while (options.count == 0 || static_cast<uint64_t>(seen) < options.count) {
    pollfd fds[] = {{ears.fd(), POLLIN, 0}, {end_fd, POLLIN, 0}};
    const int ready = poll(fds, std::size(fds), poll_timeout(options, end));
    if (ready < 0 && errno != EINTR) {
      complain("waiting for messages failed: " + std::string(std::strerror(errno)));
      return -1;
    }
    if (ready == 0 || (ready > 0 && fds[1].revents != 0)) break;
    uint32_t opcode = 0;
    std::vector<uint8_t> payload;
    if (ready < 0 || !ears.receive(opcode, payload)) continue;
    show(opcode, payload);
    ++seen;
  }
  return seen;
}

void complain_of_subscribing(const listener &ears) {
  switch (errno) {
    case ENOENT:
    case ENOTDIR:
      complain("cannot listen at " + ears.path() +
               ": its directory does not exist: is vesk_sup running?");
      return;
    case EACCES:
    case EPERM:
      complain("permission denied at " + ears.path() +
               ": run as root or as a user who may write to its directory");
      return;
    default:
      complain("cannot listen at " + ears.path() + ": " + std::strerror(errno));
  }
}

int run(const context &ctx, const monitor_options &options) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const unique_fd end_fd(end_requests());
  if (!end_fd) {
    complain("cannot watch for signals: " + std::string(std::strerror(errno)));
    return 1;
  }
  listener ears(vesk_client_run_dir(ctx.run_dir.empty() ? nullptr : ctx.run_dir.c_str()));
  if (ears.fd() < 0) {
    complain_of_subscribing(ears);
    return 1;
  }
  const int64_t seen = watch(ears, end_fd.get(), options);
  if (seen < 0) return 1;
  if (static_cast<uint64_t>(seen) >= options.count) return 0;
  complain("ended after " + std::to_string(seen) + " of " + std::to_string(options.count) +
           " messages");
  return 1;
}

}  // namespace

void add_monitor(CLI::App &app, context &ctx) {
  auto *sub = app.add_subcommand(
      "monitor", "Show what the daemon tells everybody: that it is up, and exception reports");
  auto options = std::make_shared<monitor_options>();
  sub->add_option("--count", options->count, "End after this many messages")
      ->type_name("N")
      ->check(within(uint64_t{1}, uint64_t{UINT32_MAX}));
  sub->add_option("--timeout", options->seconds, "End after this many seconds")
      ->type_name("SECONDS")
      ->check(within(0.001, 86400.0));
  sub->footer(
      "Ends by itself with --count or --timeout, otherwise with Ctrl-C. Fails when --count "
      "messages\n"
      "had not come by then.\n\n"
      "Examples:\n"
      "  veskctl monitor\n"
      "  veskctl monitor --count 1 --timeout 30");
  sub->callback([&ctx, options] { ctx.status = run(ctx, *options); });
}

}  // namespace vesk::veskctl
