#include "tests/soak/service.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "client/vesk_client.hpp"
#include "tests/support/files.h"
#include "tests/support/poll.h"
#include "tests/support/process_usage.h"

namespace vesk::soak {
namespace {

namespace fs = std::filesystem;

constexpr char run_directory[] = "/run/vesk";
constexpr char output[] = "/tmp/vesk_sup.log";
constexpr uint32_t opcode_without_work = 1162;

}  // namespace

void service::wipe() {
  test::empty_directory(log_directory);
  fs::remove_all(copies_directory);
  fs::remove(output);
  boot();
}

void service::boot() {
  test::empty_directory(run_directory);
}

void service::start() {
  const test::ended kept = test::run({"veskshow", "--preserve", copies_directory});
  if (kept.status != 0) throw std::runtime_error("veskshow --preserve fails: " + kept.output());
  if (!kept.output().empty()) ++copied_;
  process_.emplace(std::vector<std::string>{"vesk_sup"},
                   test::start_options{.output_file = output});
  up_ = false;
}

void service::wait_until_up() {
  log_client probe;
  probe.open(200);
  const bool up = test::eventually(
      [&] { return !process_->running() || probe.confirm(opcode_without_work) == VESK_CLIENT_OK; });
  if (!up || !process_->running()) throw std::runtime_error("the daemon does not start");
  up_ = true;
}

void service::kill() {
  if (up_) look_at_usage();
  process_.reset();
}

void service::look_at_usage() {
  const auto usage = test::usage_of(process_->process());
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
