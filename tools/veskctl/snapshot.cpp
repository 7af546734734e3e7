// veskctl snapshot: a copy of the log files that holds together, while the daemon runs.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "reader/vesk_ring_image.h"
#include "tools/shared/copy_note.h"
#include "tools/shared/files.h"
#include "tools/shared/flash.h"
#include "tools/shared/new_file.h"
#include "tools/veskctl/manifest.h"
#include "tools/veskctl/support.h"

namespace vesk::veskctl {
namespace {

struct snapshot_options {
  std::string source = shared::log_directory;
  std::string target;
};

// Makes the directory, or finds it empty. False after a line on stderr.
bool prepare(const std::string &target) {
  if (mkdir(target.c_str(), 0755) == 0) return true;
  if (errno != EEXIST) {
    complain("cannot make " + target + ": " + std::strerror(errno));
    return false;
  }
  std::error_code trouble;
  const bool empty = std::filesystem::is_empty(target, trouble);
  std::error_code ignored;
  if (trouble || !std::filesystem::is_directory(target, ignored)) {
    complain(target + ": " + (trouble ? trouble.message() : std::strerror(ENOTDIR)));
  } else if (!empty) {
    complain(target + " is not empty: a snapshot needs a directory of its own");
  } else {
    return true;
  }
  return false;
}

std::string in_target(const std::string &target, const char *name) {
  return target + '/' + name;
}

// The log files there. Complains of a directory that cannot be looked into or has none.
std::vector<shared::log_file> find_files(const std::string &source) {
  std::error_code trouble;
  const std::filesystem::directory_iterator probe(source, trouble);
  if (trouble) {
    complain(source + ": " + trouble.message());
    return {};
  }
  std::vector<shared::log_file> files = shared::files_in(source);
  if (files.empty()) complain("there is no log file in " + source + ": is the flash mounted?");
  return files;
}

// Copies one file; what is wrong with it stands in the result.
copied_file copy(const shared::log_file &file, const std::string &target) {
  copied_file copied{};
  copied.row = file.row;
  // Before the bytes, so that the copy is never younger than it says.
  struct stat status {};
  if (stat(file.path.c_str(), &status) == 0) copied.modified = status.st_mtim;
  std::vector<uint8_t> image;
  copied.trouble = read_ring_image(file.path, file.row->max_size, image).reason;
  if (!copied.trouble.empty()) return copied;
  const std::string_view content(reinterpret_cast<const char *>(image.data()), image.size());
  copied.size = image.size();
  copied.sha256 = shared::sha256_of(content);
  copied.summary = summarize(image, file.row->max_size);
  copied.summary.oldest.reset();  // their data end with the image
  copied.summary.newest.reset();
  const std::string path = in_target(target, file.row->name);
  const std::string trouble = shared::write_new_file(path, content, &copied.modified).reason;
  if (!trouble.empty()) copied.trouble = "cannot write " + path + ": " + trouble;
  return copied;
}

void report(const shared::log_file &file, const copied_file &copied) {
  if (!copied.trouble.empty()) {
    complain(file.path + ": " + copied.trouble);
    return;
  }
  std::printf("%-24s %8zu bytes %6u entries  %s\n", copied.row->name, copied.size,
              copied.summary.entries,
              copied.summary.damage ? copied.summary.damage->reason.c_str() : "sound");
}

// Writes the sums and, as the very last, the manifest: it stands for a snapshot that is finished.
std::string finish(const snapshot &taken, const std::string &target) {
  const std::string manifest = manifest_of(taken);
  std::string trouble =
      shared::write_new_file(in_target(target, sums_name), sums_of(taken, manifest)).reason;
  if (trouble.empty()) trouble = shared::sync_directory(target).reason;
  if (trouble.empty())
    trouble = shared::replace_file(in_target(target, manifest_name), manifest).reason;
  return trouble;
}

std::string absolute(const std::string &path) {
  std::error_code trouble;
  const auto whole = std::filesystem::canonical(path, trouble);
  return trouble ? path : whole.string();
}

int run(const snapshot_options &options) {
  const std::vector<shared::log_file> files = find_files(options.source);
  if (files.empty() || !prepare(options.target)) return 1;
  snapshot taken{};
  clock_gettime(CLOCK_REALTIME, &taken.taken);
  taken.directory = absolute(options.source);
  for (const shared::log_file &file : files) {
    taken.files.push_back(copy(file, options.target));
    report(file, taken.files.back());
  }
  const std::string trouble = finish(taken, options.target);
  if (!trouble.empty()) {
    complain("the snapshot in " + options.target + " is not finished: " + trouble);
    return 1;
  }
  return taken.complete() ? 0 : 1;
}

}  // namespace

void add_snapshot(CLI::App &app, context &ctx) {
  auto *sub = app.add_subcommand(
      "snapshot", "Copy all log files to a directory, each in one piece, while the daemon runs");
  auto options = std::make_shared<snapshot_options>();
  sub->add_option("directory", options->target, "Where to: a new directory, or an empty one")
      ->required()
      ->type_name("DIR");
  add_directory(*sub, options->source);
  sub->footer(
      "A file that the daemon writes to meanwhile is read again until it holds together. Copies "
      "keep\n"
      "their times. SHA256SUMS lists the check sums; MANIFEST.json says when and from where the\n"
      "copies were made, and of each its size, its entries and whether it is sound. A damaged "
      "file\n"
      "is copied as it is. A directory without MANIFEST.json is no finished snapshot.\n"
      "When a file cannot be copied, the others still are, and the exit status is 1.\n\n"
      "Examples:\n"
      "  veskctl snapshot /var/tmp/evidence\n"
      "  cd /var/tmp/evidence && sha256sum -c SHA256SUMS\n"
      "  veskshow -D /var/tmp/evidence");
  sub->callback([&ctx, options] { ctx.status = run(*options); });
}

}  // namespace vesk::veskctl
