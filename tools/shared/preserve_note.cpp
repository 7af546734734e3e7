// The note that lies beside the copies of a set.
#include <rapidjson/prettywriter.h>

#include <filesystem>

#include "tools/shared/copy_note.h"
#include "tools/shared/json.h"
#include "tools/shared/preserve.h"
#include "tools/shared/problem_text.h"

namespace vesk::shared {

namespace {

using json_writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

void write_forecast(json_writer &writer, const file_forecast &predicted) {
  write_member(writer, "fate", fate_name(predicted.fate));
  if (predicted.fate == file_fate::keep) return;
  writer.Key("offset");
  writer.Uint(predicted.objection.offset);
  write_member(writer, "reason", objection_text(predicted));
  if (predicted.repair_failure) {
    write_member(writer, "repair_failure", repair_failure_text(predicted));
  }
}

void write_file(json_writer &writer, const evidence &copied) {
  writer.StartObject();
  write_member(writer, "name", copied.file.row->name);
  write_member(writer, "type", copied.file.row->file_type());
  write_member(writer, "size", copied.bytes.size());
  write_member(writer, "modified", utc_text(copied.modified));
  write_member(writer, "sha256", sha256_of(characters_of(copied.bytes)));
  write_forecast(writer, copied.predicted);
  writer.EndObject();
}

std::string absolute(const std::string &directory) {
  std::error_code trouble;
  const auto whole = std::filesystem::canonical(directory, trouble);
  return trouble ? directory : whole.string();
}

}  // namespace

std::string note_of(const preserve_request &asked, const timespec &now,
                    const std::vector<const evidence *> &copied) {
  rapidjson::StringBuffer written;
  json_writer writer(written);
  writer.SetIndent(' ', 2);
  writer.StartObject();
  write_member(writer, "preserved", utc_text(now));
  write_member(writer, "directory", absolute(asked.source));
  write_member(writer, "occasion", asked.occasion);
  writer.Key("files");
  writer.StartArray();
  for (const evidence *file : copied) write_file(writer, *file);
  writer.EndArray();
  writer.EndObject();
  return written.GetString() + std::string("\n");
}

}  // namespace vesk::shared
