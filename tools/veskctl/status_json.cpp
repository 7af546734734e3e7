#include "tools/shared/json_member.h"
#include "tools/veskctl/output.h"
#include "tools/veskctl/status.h"

namespace vesk::veskctl {
namespace {

using shared::write_member;
using json_writer = rapidjson::Writer<rapidjson::StringBuffer>;

void write_daemon(json_writer &writer, const findings &found) {
  writer.StartObject();
  write_member(writer, "answers", found.answers);
  if (found.answers) write_member(writer, "answer_seconds", found.answer_seconds);
  if (found.host) {
    write_member(writer, "pid", found.host->pid);
    write_member(writer, "uptime_seconds", static_cast<double>(found.host->uptime_usecs) / 1e6);
  } else {
    write_member(writer, "trouble", found.daemon_trouble.reason);
  }
  writer.EndObject();
}

void write_flash(json_writer &writer, const findings &found) {
  writer.StartObject();
  write_member(writer, "marker", found.marked);
  write_member(writer, "directory", shared::log_directory);
  if (!found.flash.trouble.empty()) {
    write_member(writer, "trouble", found.flash.trouble);
  } else {
    write_member(writer, "mount_point", found.flash.mount_point);
    write_member(writer, "size_bytes", found.flash.size);
    write_member(writer, "free_bytes", found.flash.free);
  }
  writer.EndObject();
}

void write_counters(json_writer &writer, const vesk_wire_status &host) {
  writer.StartObject();
  write_member(writer, "received", host.received);
  writer.Key("refused");
  writer.StartObject();
  for (const auto &reason : refusal_counts) {
    write_member(writer, reason.label, host.*reason.count);
  }
  writer.EndObject();
  write_member(writer, "answered", host.answered);
  write_member(writer, "unanswered", host.unanswered);
  write_member(writer, "listeners_reached", host.listeners_reached);
  write_member(writer, "listeners_missed", host.listeners_missed);
  writer.EndObject();
}

void write_errors(json_writer &writer, const findings &found) {
  writer.StartObject();
  if (found.errors_trouble) {
    write_member(writer, "trouble", found.errors_trouble.reason);
  } else {
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
  writer.EndObject();
}

}  // namespace

void print_status_json(const findings &found) {
  rapidjson::StringBuffer written;
  json_writer writer(written);
  writer.StartObject();
  writer.Key("daemon");
  write_daemon(writer, found);
  writer.Key("flash");
  write_flash(writer, found);
  if (found.host) {
    writer.Key("messages");
    write_counters(writer, *found.host);
  }
  writer.Key("errors");
  write_errors(writer, found);
  writer.EndObject();
  shared::print_json(written);
}

}  // namespace vesk::veskctl
