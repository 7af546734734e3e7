#include "tests/support/running_daemon.h"

#include <signal.h>

#include <filesystem>
#include <fstream>

namespace vesk::test {

namespace {

constexpr char log_of_daemon[] = "/tmp/vesk_sup.log";
constexpr char mount_marker[] = "/kyte_mounted";

}  // namespace

void running_daemon::start(const std::function<void()> &prepare) {
  ASSERT_FALSE(running());
  const start_options how = {
      .environment = {{"VESK_SLOT", this_slot}}, .output_file = log_of_daemon, .prepare = prepare};
  program_.emplace(std::vector<std::string>{"vesk_sup"}, how);
  wire_socket probe;
  ASSERT_TRUE(eventually([&] { return !program_->running() || probe.send(1162, {}) != 0; }))
      << printed();
  if (!program_->running()) program_.reset();
  ASSERT_TRUE(running()) << "the daemon ended at once:\n" << printed();
  // It has bound its access point. Once it lets the first message go, it is through its start.
  ASSERT_TRUE(probe.receive()) << printed();
}

int running_daemon::stop(int signal) {
  const int status = program_->stop(signal).status;
  program_.reset();
  return status;
}

std::string running_daemon::printed() const {
  return contents_of(log_of_daemon);
}

bool running_daemon::prints(const std::string &text) const {
  return eventually([&] { return contains(printed(), text); });
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
  const ended result = run({"veskshow", "-q", "-o", "cat", file});
  EXPECT_EQ(result.status, 0) << result;
  return lines_of(result.out);
}

}  // namespace vesk::test
