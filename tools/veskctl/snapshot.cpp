// veskctl snapshot: a copy of the log files that holds together, while the daemon runs.
#include <rapidjson/prettywriter.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <filesystem>

#include "base/vesk_failure.h"
#include "reader/vesk_ring_image.h"
#include "reader/vesk_ring_summary.h"
#include "tools/shared/copy_note.h"
#include "tools/shared/files.h"
#include "tools/shared/json.h"
#include "tools/shared/new_file.h"
#include "tools/shared/text.h"
#include "tools/veskctl/output.h"
#include "tools/veskctl/subcommands.h"

namespace vesk::veskctl {
namespace {

struct copied_file {
  const vesk_catalogue_row *row;
  failure trouble;  // why there is no copy; the rest says nothing then
  size_t size;
  timespec modified;
  std::string sha256;  // in hexadecimal
  ring_summary summary;
};

struct copied_files {
  timespec taken;
  std::string directory;  // that was copied
  std::vector<copied_file> files;

  bool complete() const {  // whether there is a copy of every file
    return std::all_of(files.begin(), files.end(),
                       [](const copied_file &file) { return !file.trouble; });
  }
};

// --- the two files that say what a snapshot holds ---

constexpr char manifest_name[] = "MANIFEST.json";
constexpr char sums_name[] = "SHA256SUMS";

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

// The sums of every copy and of the manifest, as sha256sum(1) reads them.
std::string sums_of(const copied_files &taken, std::string_view manifest) {
  std::string lines;
  for (const copied_file &file : taken.files) {
    if (!file.trouble) lines += sum_line(file.sha256, file.row->name);
  }
  return lines + sum_line(shared::sha256_of(manifest), manifest_name);
}

// --- the copies ---

// Makes the directory, or finds it empty.
failure prepare(const std::string &target) {
  if (mkdir(target.c_str(), 0755) == 0) return {};
  if (errno != EEXIST) return {"cannot make " + target + ": " + errno_text(errno)};
  std::error_code trouble;
  std::error_code ignored;
  const bool empty = std::filesystem::is_empty(target, trouble);
  if (trouble) return {target + ": " + trouble.message()};
  if (!std::filesystem::is_directory(target, ignored)) {
    return {target + ": " + errno_text(ENOTDIR)};
  }
  if (empty) return {};
  return {target + " is not empty: a snapshot needs a directory of its own"};
}

std::string in_target(const std::string &target, const char *name) {
  return target + '/' + name;
}

// Stores the log files there, of which there is at least one.
failure find_files(const std::string &source, std::vector<shared::log_file> &files) {
  std::error_code trouble;
  const std::filesystem::directory_iterator probe(source, trouble);
  if (trouble) return {source + ": " + trouble.message()};
  files = shared::files_in(source);
  if (!files.empty()) return {};
  return {"there is no log file in " + source + ": is the flash mounted?"};
}

// Copies one file; what is wrong with it stands in the result.
copied_file copy(const shared::log_file &file, const std::string &target) {
  copied_file copied{};
  copied.row = file.row;
  // Before the bytes, so that the copy is never younger than it says.
  struct stat status {};
  if (stat(file.path.c_str(), &status) == 0) copied.modified = status.st_mtim;
  std::vector<uint8_t> image;
  copied.trouble = read_ring_image(file.path, file.row->max_size, image);
  if (copied.trouble) return copied;
  const std::string_view content = shared::characters_of(image);
  copied.size = image.size();
  copied.sha256 = shared::sha256_of(content);
  copied.summary = summarize(image, file.row->max_size);
  copied.summary.oldest.reset();  // their data end with the image
  copied.summary.newest.reset();
  const std::string path = in_target(target, file.row->name);
  if (const failure why = shared::write_new_file(path, content, &copied.modified)) {
    copied.trouble = {"cannot write " + path + ": " + why.reason};
  }
  return copied;
}

void report(const shared::log_file &file, const copied_file &copied) {
  if (copied.trouble) {
    complain(file.path + ": " + copied.trouble.reason);
    return;
  }
  std::printf("%-24s %8zu bytes %6u entries  %s\n", copied.row->name, copied.size,
              copied.summary.entries,
              copied.summary.damage ? copied.summary.damage->reason.c_str() : "sound");
}

// Writes the sums and, as the very last, the manifest: it stands for a snapshot that is finished.
failure finish(const copied_files &taken, const std::string &target) {
  const std::string manifest = manifest_of(taken);
  failure why = shared::write_new_file(in_target(target, sums_name), sums_of(taken, manifest));
  if (!why) why = shared::sync_directory(target);
  if (!why) why = shared::replace_file(in_target(target, manifest_name), manifest);
  return why;
}

std::string absolute(const std::string &path) {
  std::error_code trouble;
  const auto whole = std::filesystem::canonical(path, trouble);
  return trouble ? path : whole.string();
}

}  // namespace

int snapshot(const options &wanted) {
  const std::string &source = wanted.directory;
  const std::string &target = wanted.target;
  std::vector<shared::log_file> files;
  if (const auto why = find_files(source, files)) return status_of(why);
  if (const auto why = prepare(target)) return status_of(why);
  copied_files taken{};
  clock_gettime(CLOCK_REALTIME, &taken.taken);
  taken.directory = absolute(source);
  for (const shared::log_file &file : files) {
    taken.files.push_back(copy(file, target));
    report(file, taken.files.back());
  }
  if (const auto why = finish(taken, target)) {
    return status_of({"the snapshot in " + target + " is not finished: " + why.reason});
  }
  return taken.complete() ? 0 : 1;
}

}  // namespace vesk::veskctl
