#include "tools/veskctl/manifest.h"

#include <rapidjson/prettywriter.h>

#include <algorithm>

#include "tools/shared/copy_note.h"
#include "tools/shared/json_member.h"

namespace vesk::veskctl {
namespace {

using shared::write_member;
using json_writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

void write_ring(json_writer &writer, const ring_summary &ring) {
  write_member(writer, "entries", ring.entries);
  if (ring.state) {
    write_member(writer, "capacity", ring.state->max);
    write_member(writer, "start", ring.state->start);
    write_member(writer, "end", ring.state->end);
  }
  write_member(writer, "sound", !ring.damage);
  if (!ring.damage) return;
  writer.Key("damage");
  writer.StartObject();
  write_member(writer, "offset", ring.damage->offset);
  write_member(writer, "reason", ring.damage->reason);
  writer.EndObject();
}

void write_file(json_writer &writer, const copied_file &file) {
  writer.StartObject();
  write_member(writer, "name", file.row->name);
  write_member(writer, "type", file.row->file_type());
  write_member(writer, "copied", !file.trouble);
  if (file.trouble) {
    write_member(writer, "trouble", file.trouble.reason);
  } else {
    write_member(writer, "size", file.size);
    write_member(writer, "modified", shared::utc_text(file.modified));
    write_member(writer, "sha256", file.sha256);
    write_ring(writer, file.summary);
  }
  writer.EndObject();
}

std::string sum_line(const std::string &sum, const char *name) {
  return sum + "  " + name + '\n';
}

}  // namespace

bool copied_files::complete() const {
  return std::all_of(files.begin(), files.end(),
                     [](const copied_file &file) { return !file.trouble; });
}

std::string manifest_of(const copied_files &taken) {
  rapidjson::StringBuffer written;
  json_writer writer(written);
  writer.SetIndent(' ', 2);
  writer.StartObject();
  write_member(writer, "taken", shared::utc_text(taken.taken));
  write_member(writer, "directory", taken.directory);
  write_member(writer, "version", VESK_VERSION_TEXT);
  write_member(writer, "complete", taken.complete());
  writer.Key("files");
  writer.StartArray();
  for (const copied_file &file : taken.files) write_file(writer, file);
  writer.EndArray();
  writer.EndObject();
  return written.GetString() + std::string("\n");
}

std::string sums_of(const copied_files &taken, std::string_view manifest) {
  std::string lines;
  for (const copied_file &file : taken.files) {
    if (!file.trouble) lines += sum_line(file.sha256, file.row->name);
  }
  return lines + sum_line(shared::sha256_of(manifest), manifest_name);
}

}  // namespace vesk::veskctl
