// What people would use instead, with the settings that make it do the same work: one record at a
// time, no limit on their rate, nothing forwarded, text with a time stamp in microseconds.
#include <filesystem>
#include <fstream>

#include "bench/store.h"

namespace vesk::bench {

namespace {

namespace fs = std::filesystem;

constexpr char rsyslog_settings[] = R"(
main_queue(queue.type="Direct")
module(load="imuxsock" SysSock.Use="off")
input(type="imuxsock" Socket="/tmp/bench/rsyslog.socket")
action(type="omfile" file="/mnt/vesk/rsyslog.log" template="RSYSLOG_FileFormat" SYNC)
)";

constexpr char syslog_ng_settings[] = R"(@version: 3.38
options { stats-freq(0); };
source records { unix-dgram("/tmp/bench/syslog-ng.socket"); };
destination stored { file("/mnt/vesk/syslog-ng.log" frac-digits(6) SYNC
  template("${ISODATE} ${HOST} ${MSGHDR}${MESSAGE}\n")); };
log { source(records); destination(stored); };
)";

constexpr char journald_settings[] = R"([Journal]
Storage=persistent
SplitMode=none
RateLimitIntervalSec=0
RateLimitBurst=0
ForwardToSyslog=no
ForwardToWall=no
ReadKMsg=no
Audit=no
SystemMaxUse=200M
SystemKeepFree=1M
SystemMaxFileSize=200M
)";

void write(const std::string &path, const std::string &text) {
  std::ofstream(path) << text;
}

// The settings with what makes it flush each record, or does not.
void write_settings(const std::string &path, std::string text, const std::string &sync) {
  write(path, text.replace(text.find("SYNC"), 4, sync));
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
    if (entry.path().filename().string().find("-linux-gnu") != std::string::npos) {
      return entry.path();
    }
  }
  return package + "/usr/lib";
}

store rsyslog(const std::string &packages) {
  const std::string package = packages + "/rsyslog";
  const std::string libraries = libraries_of(package);
  const std::string settings = "/tmp/bench/rsyslog.conf";
  const std::string file = "/mnt/vesk/rsyslog.log";
  return {.name = "rsyslog",
          .socket = "/tmp/bench/rsyslog.socket",
          .begins_with = {},
          .full = "full rsyslog",
          .set_up =
              [=](flushing when) {
                const bool each = when == flushing::each_record;
                write_settings(settings, rsyslog_settings, each ? "sync=\"on\"" : "");
              },
          .program =
              [=](flushing) {
                return with_libraries(libraries,
                                      {package + "/usr/sbin/rsyslogd", "-n", "-f", settings, "-i",
                                       "/tmp/bench/rsyslog.pid", "-M", libraries + "/rsyslog"});
              },
          .record = syslog_record,
          .last_ten = {"tail", "-n", "10", file},
          .search = grep_in(file)};
}

store syslog_ng(const std::string &packages) {
  const std::string package = packages + "/syslog-ng-core";
  const std::string libraries = package + "/usr/lib/syslog-ng";
  const std::string prefix = "/tmp/bench/syslog-ng";
  const std::string file = "/mnt/vesk/syslog-ng.log";
  return {.name = "syslog-ng",
          .socket = "/tmp/bench/syslog-ng.socket",
          .begins_with = {},
          .full = "full syslog-ng",
          .set_up =
              [=](flushing when) {
                const bool each = when == flushing::each_record;
                write_settings(prefix + ".conf", syslog_ng_settings,
                               each ? "fsync(yes) flush-lines(1)" : "");
              },
          .program =
              [=](flushing) {
                return with_libraries(
                    libraries + ":" + libraries_of(package),
                    {package + "/usr/sbin/syslog-ng", "-F", "--no-caps", "-f", prefix + ".conf",
                     "-p", prefix + ".pid", "-R", prefix + ".persist", "-c", prefix + ".control",
                     "--module-path=" + libraries + "/3.38"});
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
  for (const char *directory :
       {"/mnt/vesk/journal", "/var/log", "/run/systemd/journal", "/etc/systemd"}) {
    fs::create_directories(directory);
  }
  fs::remove("/var/log/journal");
  fs::create_directory_symlink("/mnt/vesk/journal", "/var/log/journal");
  write("/run/systemd/journal/flushed", "");  // it may use its directory on the disk
  write("/etc/machine-id", "0123456789abcdef0123456789abcdef\n");
  write("/etc/systemd/journald.conf", journald_settings);
}

command journalctl(const command &options) {
  command program = {"journalctl", "--no-pager", "-D", "/mnt/vesk/journal"};
  program.insert(program.end(), options.begin(), options.end());
  return program;
}

store journald() {
  return {.name = "journald",
          .socket = "/run/systemd/journal/socket",
          .begins_with = {},
          .full = "full journald",
          .set_up = set_up_journald,
          .program = [](flushing) { return command{"/lib/systemd/systemd-journald"}; },
          .record = journal_record,
          .last_ten = journalctl({"-n", "10"}),
          .search =
              [](const std::string &word) {
                return journalctl({"--grep", word, "-o", "cat"});
              },
          .writes_are_counted = false};
}

command sqlite3(const std::string &query) {
  return {"sqlite3", "/mnt/vesk/log.sqlite", query};
}

store sqlite(const std::string &name, const std::string &page_size) {
  const std::string socket = "/tmp/bench/sqlite.socket";
  return {.name = name,
          .socket = socket,
          .begins_with = {},
          .full = "full " + name,
          .set_up = [](flushing) {},
          .program =
              [=](flushing when) {
                command program = {"vesk_sqlite_store", socket, "/mnt/vesk/log.sqlite",
                                   "--page-size", page_size};
                if (when == flushing::each_record) program.emplace_back("--flushed");
                return program;
              },
          .record = [](const std::string &text, flushing) { return bytes(text); },
          .last_ten = sqlite3("SELECT micros, text FROM log ORDER BY id DESC LIMIT 10"),
          .search =
              [](const std::string &word) {
                return sqlite3("SELECT text FROM log WHERE text LIKE '%" + word + "%'");
              }};
}

}  // namespace

std::vector<store> peer_stores(const std::string &packages) {
  return {rsyslog(packages), syslog_ng(packages), journald(),
          sqlite("sqlite3", "4096"),  // its default
          sqlite("sqlite3-1k", "1024")};
}

}  // namespace vesk::bench
