#include "tests/soak/service.h"

#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "client/vesk_client.hpp"
#include "tests/support/poll.h"
#include "tests/support/process_usage.h"
#include "tests/support/program.h"

namespace vesk::soak {
namespace {

namespace fs = std::filesystem;

constexpr char run_directory[] = "/run/vesk";
constexpr char output[] = "/tmp/vesk_sup.log";
constexpr uint32_t opcode_without_work = 1162;

void empty_directory(const char *path) {
  fs::create_directories(path);
  for (const auto &entry : fs::directory_iterator(path)) fs::remove_all(entry.path());
}

}  // namespace

service::~service() {
  if (process_ > 0) kill();
}

void service::wipe() {
  empty_directory(log_directory);
  fs::remove_all(copies_directory);
  fs::remove(output);
  boot();
}

void service::boot() {
  empty_directory(run_directory);
}

void service::start() {
  const test::outcome kept = test::run({"veskshow", "--preserve", copies_directory});
  if (kept.status != 0) throw std::runtime_error("veskshow --preserve fails: " + kept.output);
  if (!kept.output.empty()) ++copied_;
  process_ = test::start({"vesk_sup"}, output);
  up_ = false;
}

void service::wait_until_up() {
  log_client probe;
  probe.open(200);
  bool ended = false;
  const bool up = test::eventually([&] {
    ended = waitpid(process_, nullptr, WNOHANG) == process_;
    return ended || probe.confirm(opcode_without_work) == VESK_CLIENT_OK;
  });
  if (ended) process_ = 0;
  if (ended || !up) throw std::runtime_error("the daemon does not start");
  up_ = true;
}

void service::kill() {
  if (up_) look_at_usage();
  ::kill(process_, SIGKILL);
  test::wait_for(process_);
  process_ = 0;
}

void service::look_at_usage() {
  const auto usage = test::usage_of(process_);
  if (!usage) return;
  used_.resident_kib = std::max(used_.resident_kib, usage->resident_kib);
  used_.descriptors = std::max(used_.descriptors, usage->descriptors);
}

std::vector<std::string> service::copies_of(const std::string &name) {
  std::vector<std::string> found;
  if (!fs::exists(copies_directory)) return found;
  for (const auto &set : fs::directory_iterator(copies_directory)) {
    const fs::path copy = set.path() / name;
    if (fs::exists(copy)) found.push_back(copy);
  }
  return found;
}

}  // namespace vesk::soak
