#include "tools/veskctl/manifest.h"

#include <rapidjson/prettywriter.h>

#include <algorithm>

#include "tools/shared/copy_note.h"
#include "tools/shared/json.h"

namespace vesk::veskctl {
namespace {

using json_writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

void write_ring(json_writer &writer, const ring_summary &ring) {
  writer.Key("entries");
  writer.Uint(ring.entries);
  if (ring.state) {
    writer.Key("capacity");
    writer.Uint(ring.state->max);
    writer.Key("start");
    writer.Uint(ring.state->start);
    writer.Key("end");
    writer.Uint(ring.state->end);
  }
  writer.Key("sound");
  writer.Bool(!ring.damage);
  if (!ring.damage) return;
  writer.Key("damage");
  writer.StartObject();
  writer.Key("offset");
  writer.Uint(ring.damage->offset);
  writer.Key("reason");
  shared::write_text(writer, ring.damage->reason);
  writer.EndObject();
}

void write_file(json_writer &writer, const copied_file &file) {
  writer.StartObject();
  writer.Key("name");
  writer.String(file.row->name);
  writer.Key("type");
  writer.Uint(file.row->file_type());
  writer.Key("copied");
  writer.Bool(file.trouble.empty());
  if (!file.trouble.empty()) {
    writer.Key("trouble");
    shared::write_text(writer, file.trouble);
  } else {
    writer.Key("size");
    writer.Uint64(file.size);
    writer.Key("modified");
    writer.String(shared::utc_text(file.modified).c_str());
    writer.Key("sha256");
    writer.String(file.sha256.c_str());
    write_ring(writer, file.summary);
  }
  writer.EndObject();
}

std::string sum_line(const std::string &sum, const char *name) {
  return sum + "  " + name + '\n';
}

}  // namespace

bool snapshot::complete() const {
  return std::all_of(files.begin(), files.end(),
                     [](const copied_file &file) { return file.trouble.empty(); });
}

std::string manifest_of(const snapshot &taken) {
  rapidjson::StringBuffer written;
  json_writer writer(written);
  writer.SetIndent(' ', 2);
  writer.StartObject();
  writer.Key("taken");
  writer.String(shared::utc_text(taken.taken).c_str());
  writer.Key("directory");
  shared::write_text(writer, taken.directory);
  writer.Key("version");
  writer.String(VESK_VERSION_TEXT);
  writer.Key("complete");
  writer.Bool(taken.complete());
  writer.Key("files");
  writer.StartArray();
  for (const copied_file &file : taken.files) write_file(writer, file);
  writer.EndArray();
  writer.EndObject();
  return written.GetString() + std::string("\n");
}

std::string sums_of(const snapshot &taken, std::string_view manifest) {
  std::string lines;
  for (const copied_file &file : taken.files) {
    if (file.trouble.empty()) lines += sum_line(file.sha256, file.row->name);
  }
  return lines + sum_line(shared::sha256_of(manifest), manifest_name);
}

}  // namespace vesk::veskctl
