// veskctl status: how the daemon and its flash are.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <span>

#include "protocol/vesk_levels.h"
#include "tools/shared/flash.h"
#include "tools/shared/json.h"
#include "tools/shared/text.h"
#include "tools/shared/time.h"
#include "tools/veskctl/daemon.h"
#include "tools/veskctl/output.h"
#include "tools/veskctl/subcommands.h"

namespace vesk::veskctl {
namespace {

// Everything that can be known from outside.
struct findings {
  bool answers;                          // whether anything came back from the daemon
  double answer_seconds;                 // how long that took
  std::optional<vesk_wire_status> host;  // what it reports of itself
  failure daemon_trouble;                // why it reports nothing

  bool marked;
  shared::file_system flash;

  std::vector<event> errors;  // of the event history, oldest first
  failure errors_trouble;     // why they are not known

  std::span<const event> latest_errors() const {
    constexpr size_t errors_shown = 5;
    return std::span(errors).last(std::min(errors.size(), errors_shown));
  }
};

void ask_daemon(vesk_client &client, findings &found) {
  using std::chrono::steady_clock;
  vesk_wire_status status{};
  const auto begun = steady_clock::now();
  const auto code = fetch_host_status(client, status);
  found.daemon_trouble = failure_of(client, code);
  found.answer_seconds = std::chrono::duration<double>(steady_clock::now() - begun).count();
  found.answers = !out_of_reach(code);
  if (code == VESK_CLIENT_OK) found.host = status;
  if (code == VESK_CLIENT_UNANSWERED) {
    found.daemon_trouble = {"it is of a version that does not know the status request"};
  }
}

void ask_for_errors(vesk_client &client, findings &found) {
  if (!found.answers) {
    found.errors_trouble = {"the daemon does not answer"};
    return;
  }
  found.errors_trouble = failure_of(client, fetch_events(client, found.errors));
  std::erase_if(found.errors, [](const event &e) { return e.head.kind != VESK_LEVEL_ERROR; });
}

// --- as lines for people ---

void print_line(const char *name, const std::string &text) {
  std::printf("%-11s%s\n", (std::string(name) + ':').c_str(), text.c_str());
}

// "64.0 MiB"
std::string size_text(uint64_t bytes) {
  constexpr const char *units[] = {"bytes", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  double size = static_cast<double>(bytes);
  size_t unit = 0;
  for (; size >= 1024; ++unit) size /= 1024;
  return shared::formatted("%.*f %s", unit == 0 ? 0 : 1, size, units[unit]);
}

std::string daemon_text(const findings &found) {
  if (!found.answers) return found.daemon_trouble.reason;
  const std::string took = shared::formatted("answered in %.3f ms", found.answer_seconds * 1000);
  if (!found.host) return took + ", but " + found.daemon_trouble.reason;
  return took + ", process " + std::to_string(found.host->pid) + ", up " +
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

void print_lines(const findings &found) {
  print_line("daemon", daemon_text(found));
  print_line("marker", marker_text(found));
  print_line("space", space_text(found.flash));
  print_counters(found);
  print_errors(found);
}

// --- as one line of JSON ---

using shared::write_member;
using json_writer = rapidjson::Writer<rapidjson::StringBuffer>;

// Writes `"name": {...}` with the members that the function writes.
template <typename Function>
void write_object(json_writer &writer, const char *name, Function write_members) {
  writer.Key(name);
  writer.StartObject();
  write_members();
  writer.EndObject();
}

void write_daemon(json_writer &writer, const findings &found) {
  write_member(writer, "answers", found.answers);
  if (found.answers) write_member(writer, "answer_seconds", found.answer_seconds);
  if (found.host) {
    write_member(writer, "pid", found.host->pid);
    write_member(writer, "uptime_seconds", static_cast<double>(found.host->uptime_usecs) / 1e6);
  } else {
    write_member(writer, "trouble", found.daemon_trouble.reason);
  }
}

void write_flash(json_writer &writer, const findings &found) {
  write_member(writer, "marker", found.marked);
  write_member(writer, "directory", shared::log_directory);
  if (!found.flash.trouble.empty()) {
    write_member(writer, "trouble", found.flash.trouble);
  } else {
    write_member(writer, "mount_point", found.flash.mount_point);
    write_member(writer, "size_bytes", found.flash.size);
    write_member(writer, "free_bytes", found.flash.free);
  }
}

void write_counters(json_writer &writer, const vesk_wire_status &host) {
  write_member(writer, "received", host.received);
  write_object(writer, "refused", [&] {
    for (const auto &reason : refusal_counts) {
      write_member(writer, reason.label, host.*reason.count);
    }
  });
  write_member(writer, "answered", host.answered);
  write_member(writer, "unanswered", host.unanswered);
  write_member(writer, "listeners_reached", host.listeners_reached);
  write_member(writer, "listeners_missed", host.listeners_missed);
}

void write_errors(json_writer &writer, const findings &found) {
  if (found.errors_trouble) {
    write_member(writer, "trouble", found.errors_trouble.reason);
    return;
  }
  write_member(writer, "count", found.errors.size());
  writer.Key("latest");
  writer.StartArray();
  for (const event &e : found.latest_errors()) {
    writer.StartObject();
    write_member(writer, "secs", e.head.secs);
    write_member(writer, "usecs", e.head.usecs);
    write_member(writer, "text", printable(e.text));
    writer.EndObject();
  }
  writer.EndArray();
}

void print_object(const findings &found) {
  rapidjson::StringBuffer written;
  json_writer writer(written);
  writer.StartObject();
  write_object(writer, "daemon", [&] { write_daemon(writer, found); });
  write_object(writer, "flash", [&] { write_flash(writer, found); });
  if (found.host) write_object(writer, "messages", [&] { write_counters(writer, *found.host); });
  write_object(writer, "errors", [&] { write_errors(writer, found); });
  writer.EndObject();
  shared::print_json(written);
}

}  // namespace

int status(const options &wanted) {
  const client_ptr client = open_client(wanted);
  if (!client) return 1;
  findings found{};
  ask_daemon(*client, found);
  found.marked = shared::is_marked_mounted();
  found.flash = shared::file_system_of(shared::log_directory);
  ask_for_errors(*client, found);
  wanted.json ? print_object(found) : print_lines(found);
  return found.answers && found.marked ? 0 : 1;
}

}  // namespace vesk::veskctl
