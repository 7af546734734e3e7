// What people would use instead, with the settings that make it do the same work: one record at a
// time, no limit on their rate, nothing forwarded, text with a time stamp in microseconds.
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "bench/stage.h"
#include "bench/store.h"

namespace vesk::bench {

namespace {

namespace fs = std::filesystem;

const std::string directory = log_dir;
const std::string settings = "/tmp/bench/";

void write(const std::string &path, const std::string &text) {
  std::ofstream(path) << text;
}

std::vector<uint8_t> bytes(const std::string &text) {
  return {text.begin(), text.end()};
}

// Facility "user", severity "notice".
std::vector<uint8_t> syslog_record(const std::string &text, flushing) {
  return bytes("<13>Nov 22 02:00:01 bench: " + text);
}

command with_libraries(const std::string &path, command program) {
  program.insert(program.begin(), {"env", "LD_LIBRARY_PATH=" + path});
  return program;
}

std::function<command(const std::string &)> grep_in(const std::string &file) {
  return [file](const std::string &word) { return command{"grep", word, file}; };
}

// Packages keep libraries of a machine's kind in a folder with its name.
std::string libraries_of(const std::string &package) {
  for (const auto &entry : fs::directory_iterator(package + "/usr/lib")) {
    if (entry.path().filename().string().find("-linux-gnu") != std::string::npos)
      return entry.path();
  }
  return package + "/usr/lib";
}

store rsyslog(const std::string &packages) {
  const std::string package = packages + "/rsyslog";
  const std::string libraries = libraries_of(package);
  const std::string socket = settings + "rsyslog.socket";
  const std::string file = directory + "/rsyslog.log";
  return {.name = "rsyslog",
          .socket = socket,
          .begins_with = {},
          .full = "full rsyslog",
          .set_up =
              [=](flushing when) {
                const std::string sync = when == flushing::each_record ? "on" : "off";
                write(settings + "rsyslog.conf",
                      "main_queue(queue.type=\"Direct\")\n"
                      "module(load=\"imuxsock\" SysSock.Use=\"off\")\n"
                      "input(type=\"imuxsock\" Socket=\"" +
                          socket +
                          "\")\n"
                          "action(type=\"omfile\" file=\"" +
                          file + "\" sync=\"" + sync +
                          "\"\n"
                          "       template=\"RSYSLOG_FileFormat\")\n");
              },
          .program =
              [=](flushing) {
                return with_libraries(
                    libraries,
                    {package + "/usr/sbin/rsyslogd", "-n", "-f", settings + "rsyslog.conf", "-i",
                     settings + "rsyslog.pid", "-M", libraries + "/rsyslog"});
              },
          .record = syslog_record,
          .last_ten = {"tail", "-n", "10", file},
          .search = grep_in(file)};
}

store syslog_ng(const std::string &packages) {
  const std::string package = packages + "/syslog-ng-core";
  const std::string modules = package + "/usr/lib/syslog-ng/3.38";
  const std::string socket = settings + "syslog-ng.socket";
  const std::string file = directory + "/syslog-ng.log";
  return {.name = "syslog-ng",
          .socket = socket,
          .begins_with = {},
          .full = "full syslog-ng",
          .set_up =
              [=](flushing when) {
                const std::string options =
                    when == flushing::each_record ? "fsync(yes) flush-lines(1)" : "";
                write(settings + "syslog-ng.conf",
                      "@version: 3.38\n"
                      "options { stats-freq(0); };\n"
                      "source records { unix-dgram(\"" +
                          socket +
                          "\"); };\n"
                          "destination stored { file(\"" +
                          file + "\" frac-digits(6) " + options +
                          "\n"
                          "  template(\"${ISODATE} ${HOST} ${MSGHDR}${MESSAGE}\\n\")); };\n"
                          "log { source(records); destination(stored); };\n");
              },
          .program =
              [=](flushing) {
                return with_libraries(
                    package + "/usr/lib/syslog-ng:" + libraries_of(package),
                    {package + "/usr/sbin/syslog-ng", "-F", "--no-caps", "-f",
                     settings + "syslog-ng.conf", "-p", settings + "syslog-ng.pid", "-R",
                     settings + "syslog-ng.persist", "-c", settings + "syslog-ng.control",
                     "--module-path=" + modules});
              },
          .record = syslog_record,
          .last_ten = {"tail", "-n", "10", file},
          .search = grep_in(file)};
}

// "critical" is what it flushes at once.
std::vector<uint8_t> journal_record(const std::string &text, flushing when) {
  const std::string priority = when == flushing::each_record ? "2" : "5";
  return bytes("PRIORITY=" + priority + "\nSYSLOG_IDENTIFIER=bench\nMESSAGE=" + text + "\n");
}

// It does not start where it cannot see its control group.
void show_control_groups() {
  if (fs::exists("/sys/fs/cgroup/cgroup.procs")) return;
  fs::create_directories("/sys");
  run({"mount", "-t", "sysfs", "sysfs", "/sys"});
  run({"mount", "-t", "cgroup2", "cgroup2", "/sys/fs/cgroup"});
}

void set_up_journald(flushing) {
  show_control_groups();
  fs::create_directories(directory + "/journal");
  fs::create_directories("/var/log");
  fs::create_directories("/run/systemd/journal");
  fs::create_directories("/etc/systemd");
  fs::remove("/var/log/journal");
  fs::create_directory_symlink(directory + "/journal", "/var/log/journal");
  write("/run/systemd/journal/flushed", "");  // it may use its directory on the disk
  write("/etc/machine-id", "0123456789abcdef0123456789abcdef\n");
  write("/etc/systemd/journald.conf",
        "[Journal]\nStorage=persistent\nSplitMode=none\n"
        "RateLimitIntervalSec=0\nRateLimitBurst=0\nForwardToSyslog=no\nForwardToWall=no\n"
        "ReadKMsg=no\nAudit=no\nSystemMaxUse=200M\nSystemKeepFree=1M\nSystemMaxFileSize=200M\n");
}

store journald() {
  return {.name = "journald",
          .socket = "/run/systemd/journal/socket",
          .begins_with = {},
          .full = "full journald",
          .set_up = set_up_journald,
          .program = [](flushing) { return command{"/lib/systemd/systemd-journald"}; },
          .record = journal_record,
          .last_ten = {"journalctl", "-D", directory + "/journal", "-n", "10", "--no-pager"},
          .search =
              [](const std::string &word) {
                return command{"journalctl", "-D",        directory + "/journal",
                               "--grep",     word,        "-o",
                               "cat",        "--no-pager"};
              },
          .writes_are_counted = false};
}

store sqlite() {
  const std::string socket = settings + "sqlite.socket";
  const std::string file = directory + "/log.sqlite";
  return {.name = "sqlite3",
          .socket = socket,
          .begins_with = {},
          .full = "full sqlite3",
          .set_up = [](flushing) {},
          .program =
              [=](flushing when) {
                command program = {"vesk_sqlite_store", socket, file};
                if (when == flushing::each_record) program.emplace_back("--flushed");
                return program;
              },
          .record = [](const std::string &text, flushing) { return bytes(text); },
          .last_ten = {"sqlite3", file, "SELECT micros, text FROM log ORDER BY id DESC LIMIT 10"},
          .search =
              [=](const std::string &word) {
                return command{"sqlite3", file,
                               "SELECT text FROM log WHERE text LIKE '%" + word + "%'"};
              }};
}

}  // namespace

std::vector<store> peer_stores(const std::string &packages) {
  return {rsyslog(packages), syslog_ng(packages), journald(), sqlite()};
}

}  // namespace vesk::bench
