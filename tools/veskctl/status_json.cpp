#include "tools/shared/json.h"
#include "tools/veskctl/host_status.h"
#include "tools/veskctl/status.h"

namespace vesk::veskctl {
namespace {

using json_writer = rapidjson::Writer<rapidjson::StringBuffer>;

void write_daemon(json_writer &writer, const findings &found) {
  writer.StartObject();
  writer.Key("answers");
  writer.Bool(found.answers);
  if (found.answers) {
    writer.Key("answer_seconds");
    writer.Double(found.answer_seconds);
  }
  if (found.host) {
    writer.Key("pid");
    writer.Uint(found.host->pid);
    writer.Key("uptime_seconds");
    writer.Double(static_cast<double>(found.host->uptime_usecs) / 1e6);
  } else {
    writer.Key("trouble");
    shared::write_text(writer, found.daemon_trouble);
  }
  writer.EndObject();
}

void write_flash(json_writer &writer, const findings &found) {
  writer.StartObject();
  writer.Key("marker");
  writer.Bool(found.marked);
  writer.Key("directory");
  writer.String(shared::log_directory);
  if (!found.flash.trouble.empty()) {
    writer.Key("trouble");
    shared::write_text(writer, found.flash.trouble);
  } else {
    writer.Key("mount_point");
    writer.Bool(found.flash.mount_point);
    writer.Key("size_bytes");
    writer.Uint64(found.flash.size);
    writer.Key("free_bytes");
    writer.Uint64(found.flash.free);
  }
  writer.EndObject();
}

void write_counters(json_writer &writer, const vesk_wire_status &host) {
  const auto write = [&](const char *name, uint64_t count) {
    writer.Key(name);
    writer.Uint64(count);
  };
  writer.StartObject();
  write("received", host.received);
  writer.Key("refused");
  writer.StartObject();
  for (const auto &reason : refusal_counts) write(reason.label, host.*reason.count);
  writer.EndObject();
  write("answered", host.answered);
  write("unanswered", host.unanswered);
  write("listeners_reached", host.listeners_reached);
  write("listeners_missed", host.listeners_missed);
  writer.EndObject();
}

void write_errors(json_writer &writer, const findings &found) {
  writer.StartObject();
  if (!found.errors_trouble.empty()) {
    writer.Key("trouble");
    shared::write_text(writer, found.errors_trouble);
  } else {
    writer.Key("count");
    writer.Uint64(found.errors.size());
    writer.Key("latest");
    writer.StartArray();
    for (const event &e : latest_errors(found)) {
      writer.StartObject();
      writer.Key("secs");
      writer.Uint(e.secs);
      writer.Key("usecs");
      writer.Uint(e.usecs);
      writer.Key("text");
      shared::write_text(writer, printable(e.text));
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
