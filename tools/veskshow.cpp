// veskshow: shows what the log files hold, on the device or in copies elsewhere. It only reads.
#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "reader/vesk_ring_image.h"
#include "reader/vesk_ring_summary.h"
#include "reader/vesk_ring_walk.h"
#include "store/vesk_catalogue.h"
#include "tools/veskshow_files.h"
#include "tools/veskshow_print.h"
#include "tools/veskshow_text.h"

namespace vesk {
namespace {

enum exit_status { exit_fine = 0, exit_problem = 1, exit_usage = 2 };

constexpr char description[] =
    "Shows what log files hold: a line for each entry, the oldest first, with its time, the uuid "
    "of\nits sender, its object type, the size of its data and the data.";

constexpr char epilogue[] =
    R"(Data that are text are shown without their zero padding, control characters as \n, \e, \x07;
other data as their length and first bytes. Files may be read while they are written to.

Examples:
  veskshow                         everything in the log directory
  veskshow --list                  which files there are, how full, and whether they are sound
  veskshow -n 20 kernel            the last 20 entries of kernel.log
  veskshow 5                       the file of type 5
  veskshow -D /tmp/copies --list   copies of the files, on any machine
  veskshow --utc ./exception.log   one copy, times in UTC

Exit status:
  0  everything was shown
  1  a file is damaged or cannot be read, or there is none; what can be read was shown
  2  the command line is wrong)";

struct options {
  std::vector<std::string> arguments;
  std::string directory = VESK_LOG_DIR;
  bool directory_given = false;
  std::optional<size_t> last;  // how many entries of each file; all when empty
  bool list = false;
  time_zone zone = time_zone::local;
};

// Standard output behind a buffer, and standard error. A problem appears behind what was shown
// before it.
class output {
 public:
  std::string text;  // to be shown

  void flush() {
    const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    if (!written || std::fflush(stdout) != 0) {
      std::fprintf(stderr, "veskshow: cannot write: %s\n",
                   std::generic_category().message(errno).c_str());
      std::exit(exit_problem);
    }
    text.clear();
  }

  void flush_when_large() {
    if (text.size() >= size_t{64} << 10) flush();
  }

  void problem(std::string_view subject, std::string_view reason) {
    flush();
    std::string line = "veskshow: ";
    append_safely(line, subject);
    line.append(": ").append(reason).append("\n");
    std::fputs(line.c_str(), stderr);
    status = exit_problem;
  }

  exit_status status = exit_fine;
};

void show_all(ring_walk &walk, const options &wanted, output &out) {
  while (auto entry = next_entry(walk)) {
    append_entry(out.text, *entry, wanted.zone);
    out.flush_when_large();
  }
}

void show_last(ring_walk &walk, const options &wanted, output &out) {
  std::deque<ring_entry> newest;
  while (auto entry = next_entry(walk)) {
    newest.push_back(*entry);
    if (newest.size() > *wanted.last) newest.pop_front();
  }
  for (const ring_entry &entry : newest) {
    append_entry(out.text, entry, wanted.zone);
    out.flush_when_large();
  }
}

void show_entries(const log_file &file, ring_bytes image, const options &wanted, output &out) {
  ring_walk walk = begin_walk(image, capacity_of(file));
  if (wanted.last)
    show_last(walk, wanted, out);
  else
    show_all(walk, wanted, out);
  if (walk.damage) out.problem(file.path, damage_text(*walk.damage));
}

void show_list_row(const log_file &file, ring_bytes image, const options &wanted, output &out) {
  const ring_summary summary = summarize(image, capacity_of(file));
  append_list_row(out.text, file, image.size(), summary, wanted.zone);
  if (summary.damage) out.status = exit_problem;
}

void append_heading(std::string &out, const log_file &file, bool first) {
  out += first ? "==> " : "\n==> ";
  append_safely(out, file.path);
  out += " <==\n";
}

void show_files(const std::vector<log_file> &files, const options &wanted, output &out) {
  std::vector<uint8_t> image;
  bool first = true;
  for (const log_file &file : files) {
    const std::string reason = read_ring_image(file.path, capacity_of(file), image);
    if (!reason.empty()) {
      out.problem(file.path, reason);
      continue;
    }
    if (wanted.list) {
      if (first) append_list_head(out.text);
      show_list_row(file, image, wanted, out);
    } else {
      if (files.size() > 1) append_heading(out.text, file, first);
      show_entries(file, image, wanted, out);
    }
    first = false;
  }
}

std::vector<log_file> all_files(const std::string &directory, output &out) {
  struct stat status;
  auto files = files_in(directory);
  if (!files.empty()) return files;
  if (::stat(directory.c_str(), &status) != 0)
    out.problem(directory, std::generic_category().message(errno));
  else if (!S_ISDIR(status.st_mode))
    out.problem(directory, std::generic_category().message(ENOTDIR));
  else
    out.problem(directory, "No log files here");
  return files;
}

std::vector<log_file> wanted_files(const options &wanted, output &out) {
  if (wanted.arguments.empty()) return all_files(wanted.directory, out);
  std::vector<log_file> files;
  for (const std::string &argument : wanted.arguments) {
    if (auto file = file_meant_by(argument, wanted.directory, wanted.directory_given))
      files.push_back(*file);
    else
      out.problem(argument, "No such file, and no log file of that name or type");
  }
  return files;
}

int usage_error(const CLI::ParseError &error) {
  std::fprintf(stderr, "veskshow: %s\nTry 'veskshow --help'.\n", error.what());
  return exit_usage;
}

}  // namespace
}  // namespace vesk

int main(int argc, char **argv) {
  using namespace vesk;
  options wanted;
  bool utc = false;

  CLI::App app(description, "veskshow");
  app.footer(epilogue);
  app.set_help_flag("-h,--help", "Show this help");
  app.set_version_flag("--version", "veskshow " VESK_VERSION_TEXT, "Show the version");
  app.add_option("FILE|NAME|TYPE", wanted.arguments, "What to show, not all files of /mnt/vesk")
      ->type_name("");
  const auto *directory =
      app.add_option("-D,--directory", wanted.directory, "Where the files are, not in /mnt/vesk")
          ->type_name("DIR");
  app.add_option("-n,--lines", wanted.last, "Only the last N entries of each file")
      ->type_name("N")
      ->check(CLI::NonNegativeNumber);
  app.add_flag("--list", wanted.list, "List the files, not their entries; not with -n");
  app.add_flag("--utc", utc, "Times in UTC instead of the local time zone");
  try {
    app.parse(argc, argv);
    if (wanted.list && wanted.last) throw CLI::ExcludesError("--list", "--lines");
  } catch (const CLI::Success &request) {
    return app.exit(request);
  } catch (const CLI::ParseError &error) {
    return usage_error(error);
  }
  wanted.directory_given = directory->count() > 0;
  if (utc) wanted.zone = time_zone::utc;

  output out;
  show_files(wanted_files(wanted, out), wanted, out);
  out.flush();
  return out.status;
}
