#include "tests/support/running_daemon.h"

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/support/poll.h"

namespace vesk::test {

namespace {

constexpr char log_of_daemon[] = "/tmp/vesk_sup.log";
constexpr char mount_marker[] = "/kyte_mounted";

void empty_directory(const char *path) {
  std::filesystem::create_directories(path);
  for (const auto &entry : std::filesystem::directory_iterator(path)) {
    std::filesystem::remove_all(entry.path());
  }
}

}  // namespace

running_daemon::~running_daemon() {
  if (running()) stop(SIGKILL);
}

void running_daemon::start(const std::function<void()> &prepare) {
  ASSERT_FALSE(running());
  process_ = test::start({"vesk_sup"}, log_of_daemon, [&] {
    setenv("VESK_SLOT", this_slot, 1);
    prepare();
  });
  wire_socket probe;
  bool ended = false;
  ASSERT_TRUE(eventually([&] {
    ended = waitpid(process_, nullptr, WNOHANG) == process_;
    return ended || probe.send(1162, {}) != 0;
  })) << printed();
  if (ended) process_ = 0;
  ASSERT_TRUE(running()) << "the daemon ended at once:\n" << printed();
  // It has bound its access point. Once it lets the first message go, it is through its start.
  ASSERT_TRUE(probe.receive()) << printed();
}

int running_daemon::stop(int signal) {
  kill(process_, signal);
  const int status = wait_for(process_);
  process_ = 0;
  return status;
}

std::string running_daemon::printed() const {
  return contents_of(log_of_daemon);
}

void daemon_test::SetUp() {
  empty_directory("/mnt/vesk");
  empty_directory("/run");
  std::filesystem::current_path("/");  // where no file is named like a log
  std::filesystem::remove(log_of_daemon);
  std::ofstream marker(mount_marker);
  daemon.start();
}

void daemon_test::TearDown() {
  if (!daemon.running()) return;
  EXPECT_EQ(daemon.stop(SIGTERM), 3);
  if (HasFailure()) std::fputs(daemon.printed().c_str(), stderr);
}

bool stores(wire_socket &sender, const record &sent) {
  const reply got = sender.request(sent);
  return got.header.flags == VESK_WIRE_ANSWER && got.payload.size() == 4 && got.word() == 1;
}

record good_record(const std::string &data, uint16_t file_type) {
  return {
      {.len = static_cast<uint16_t>(data.size()), .file_type = file_type, .sync = 1, .data = data}};
}

std::vector<std::string> shown_data(const std::string &file) {
  const outcome result = run({"veskshow", "-q", "-o", "cat", file});
  EXPECT_EQ(result.status, 0) << result.output;
  return lines_of(result.output);
}

bool exists(const std::string &path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0;
}

}  // namespace vesk::test
