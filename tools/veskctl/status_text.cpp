#include <cstdio>

#include "tools/shared/time.h"
#include "tools/veskctl/output.h"
#include "tools/veskctl/status.h"

namespace vesk::veskctl {
namespace {

void print_line(const char *name, const std::string &text) {
  std::printf("%-11s%s\n", (std::string(name) + ':').c_str(), text.c_str());
}

// "64.0 MiB"
std::string size_text(uint64_t bytes) {
  constexpr const char *units[] = {"bytes", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  double size = static_cast<double>(bytes);
  size_t unit = 0;
  for (; size >= 1024; ++unit) size /= 1024;
  char text[32];
  std::snprintf(text, sizeof text, "%.*f %s", unit == 0 ? 0 : 1, size, units[unit]);
  return text;
}

std::string daemon_text(const findings &found) {
  if (!found.answers) return found.daemon_trouble.reason;
  char took[48];
  std::snprintf(took, sizeof took, "answered in %.3f ms", found.answer_seconds * 1000);
  if (!found.host) return took + std::string(", but ") + found.daemon_trouble.reason;
  return took + std::string(", process ") + std::to_string(found.host->pid) + ", up " +
         shared::duration_text(found.host->uptime_usecs);
}

std::string marker_text(const findings &found) {
  return shared::marker_path() +
         std::string(found.marked ? " is there"
                                  : " is missing: the daemon lets every message go unread");
}

std::string space_text(const shared::file_system &flash) {
  const std::string where = std::string(shared::log_directory) + ": ";
  if (!flash.trouble.empty()) return where + flash.trouble;
  return where + size_text(flash.free) + " of " + size_text(flash.size) + " free, " +
         (flash.mount_point ? "a mount point" : "no mount point but part of a larger file system");
}

std::string refused_text(const vesk_wire_status &host) {
  uint64_t all = 0;
  std::string reasons;
  for (const auto &reason : refusal_counts) {
    const uint64_t count = host.*reason.count;
    all += count;
    if (count != 0) {
      reasons += (reasons.empty() ? " (" : ", ") + std::to_string(count) + ' ' + reason.name;
    }
  }
  return std::to_string(all) + reasons + (reasons.empty() ? "" : ")");
}

void print_counters(const findings &found) {
  const auto print = [&](const char *name, auto text_of) {
    print_line(name, found.host ? text_of(*found.host) : std::string("not known"));
  };
  print("received", [](const auto &host) { return std::to_string(host.received); });
  print("refused", refused_text);
  print("answers", [](const auto &host) {
    return std::to_string(host.answered) + " sent, " + std::to_string(host.unanswered) +
           " reached nobody";
  });
  print("listeners", [](const auto &host) {
    return std::to_string(host.listeners_reached) + " reached, " +
           std::to_string(host.listeners_missed) + " missed";
  });
}

void print_errors(const findings &found) {
  if (found.errors_trouble) {
    print_line("errors", "not known: " + found.errors_trouble.reason);
    return;
  }
  print_line("errors", found.errors.empty() ? "none in the event history"
                                            : std::to_string(found.errors.size()) +
                                                  " in the event history, the latest:");
  for (const event &e : found.latest_errors()) {
    std::printf("  %s %s\n", time_text(e.head.secs, e.head.usecs).c_str(),
                printable(e.text).c_str());
  }
}

}  // namespace

void print_status(const findings &found) {
  print_line("daemon", daemon_text(found));
  print_line("marker", marker_text(found));
  print_line("space", space_text(found.flash));
  print_counters(found);
  print_errors(found);
}

}  // namespace vesk::veskctl
