#include "bench/tools.h"

#include <filesystem>
#include <stdexcept>
#include <string>

#include "bench/full_files.h"
#include "bench/process.h"
#include "bench/stage.h"
#include "bench/strace_log.h"

namespace vesk::bench {

namespace {

constexpr char journal[] = "/tmp/bench/all.journal";

constexpr int rounds = 5;

struct task {
  const char *name;
  command ours;
  const char *against;
  command theirs;
  double goal;  // of the ratio of times; 0: there is none
};

// Shells stand only where two programs have to be joined; an empty search is no failure.
const task tasks[] = {
    {"everything, -o cat",
     {"veskshow", "-o", "cat"},
     "strings",
     {"sh", "-c", "cat /mnt/vesk/* | strings"},
     2},
    {"everything, -o json",
     {"veskshow", "-o", "json"},
     "journal",
     {"journalctl", "--file", journal, "-o", "json", "--no-pager"},
     0},
    {"a rare word",
     {"veskshow", "--grep", rare_word, "-o", "cat"},
     "grep",
     {"grep", "-rah", rare_word, "/mnt/vesk"},
     0},
    {"a rare word",
     {"veskshow", "--grep", rare_word, "-o", "cat"},
     "journal",
     {"journalctl", "--file", journal, "--grep", rare_word, "-o", "cat", "--no-pager"},
     0},
    {"last ten of 8 MiB",
     {"veskshow", "-n", "10", "kernel.log"},
     "tail",
     {"sh", "-c", "strings /mnt/vesk/kernel.log | tail"},
     0},
    {"last ten of all",
     {"veskshow", "-n", "10"},
     "journal",
     {"journalctl", "--file", journal, "-n", "10", "--no-pager"},
     0},
};

void make_journal() {
  const std::string importer = "/usr/lib/systemd/systemd-journal-remote";
  std::filesystem::remove(journal);
  run({"sh", "-c", "veskshow -o export | " + importer + " -o " + journal + " -"});
}

void measure(const task &measured, report &out) {
  const both times = alternate(
      rounds, [&] { return run(measured.ours).wall_seconds * 1000; },
      [&] { return run(measured.theirs).wall_seconds * 1000; });
  comparison row = compare(measured.name, "ms", measured.against, times);
  out.add("Tools", measured.goal == 0 ? row : row.at_most(measured.goal));
}

// The file is read once, whatever is shown of it, and its global header before that.
void measure_reading(report &out) {
  run(watched({"veskshow", "-n", "10", "kernel.log"}));
  wait_for_log();
  double bytes = 0;
  for (const system_call &call : read_strace_log(calls_log)) {
    if (call.call == system_call::what::read) bytes += call.result;
  }
  const auto size = static_cast<double>(std::filesystem::file_size("/mnt/vesk/kernel.log"));
  if (bytes < size) throw std::runtime_error("veskshow was not seen to read the whole file");
  const both read = {{bytes}, {size}};
  out.add("Tools", compare("read for the last ten of 8 MiB", "bytes", "file", read).at_most(1.01));
}

}  // namespace

void measure_tools(report &out) {
  make_full_files();
  bring_files(full_files);
  make_journal();
  for (const task &measured : tasks) measure(measured, out);
  measure_reading(out);
}

}  // namespace vesk::bench
