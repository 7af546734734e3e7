// veskshow: shows what the log files hold, on the device or in copies elsewhere. It only reads.
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <iterator>
#include <string>
#include <vector>

#include "tools/veskshow/filter.h"
#include "tools/veskshow/jobs.h"
#include "tools/veskshow/pager.h"

namespace vesk::veskshow {
namespace {

// Files that are to be followed may appear later.
std::vector<shared::log_file> all_files(const options &wanted, output &out) {
  const std::string &directory = wanted.directory;
  struct stat status;
  if (stat(directory.c_str(), &status) != 0) {
    out.problem(directory, errno_text(errno));
    return {};
  }
  if (!S_ISDIR(status.st_mode)) {
    out.problem(directory, errno_text(ENOTDIR));
    return {};
  }
  if (wanted.follow) return shared::possible_files(directory);
  auto files = shared::files_in(directory);
  if (files.empty() && wanted.what != job::preserve) out.problem(directory, "No log files here");
  return files;
}

std::vector<shared::log_file> wanted_files(const options &wanted, output &out) {
  if (wanted.arguments.empty()) return all_files(wanted, out);
  std::vector<shared::log_file> files;
  for (const std::string &argument : wanted.arguments) {
    if (auto file = shared::file_meant_by(argument, wanted.directory, wanted.directory_given)) {
      files.push_back(*file);
    } else {
      out.problem(argument, "No such file, and no log file of that name or type");
    }
  }
  return files;
}

void do_job(const request &asked, output &out) {
  constexpr decltype(&do_job) in_order_of_jobs[] = {show_entries,    show_list,     show_headers,
                                                    show_fates,      show_maps,     show_salvage,
                                                    show_statistics, show_preserved};
  static_assert(std::size(in_order_of_jobs) == static_cast<size_t>(job::preserve) + 1);
  const auto show = in_order_of_jobs[static_cast<size_t>(asked.wanted.what)];
  asked.wanted.follow ? follow_entries(asked, out) : show(asked, out);
}

bool wants_color(const options &wanted) {
  return wanted.color == when::always || (wanted.color == when::automatic && shows_on_terminal());
}

uint64_t now() {
  struct timespec time;
  clock_gettime(CLOCK_REALTIME, &time);
  return static_cast<uint64_t>(time.tv_sec) * 1'000'000 +
         static_cast<uint64_t>(time.tv_nsec) / 1000;
}

int run(const options &wanted) {
  name_table names;
  entry_filter filter;
  if (!wanted.names_file.empty()) {
    if (failure why = read_names(wanted.names_file, names)) return usage_error(why.reason);
  }
  if (failure why = make_filter(wanted, names, now(), filter)) return usage_error(why.reason);

  output out;
  out.color = wants_color(wanted);
  const entry_style style{wanted.format, wanted.zone, &names, out.color};
  start_pager(wanted);
  const std::vector<shared::log_file> files = wanted_files(wanted, out);
  do_job({wanted, files, filter, style}, out);
  report_given_up(filter, out);
  out.flush();
  return out.status;
}

}  // namespace
}  // namespace vesk::veskshow

int main(int argc, char **argv) {
  vesk::veskshow::options wanted;
  if (const auto status = vesk::veskshow::parse_command_line(argc, argv, wanted)) return *status;
  return vesk::veskshow::run(wanted);
}
