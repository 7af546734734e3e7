#include "tests/flash/broken_flash.h"

#include <gtest/gtest.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "tests/flash/mount_point.h"
#include "tests/support/files.h"
#include "tests/support/poll.h"
#include "tests/support/running_daemon.h"

namespace vesk::test {

namespace {

namespace fs = std::filesystem;

constexpr char log_of_flash[] = "/tmp/flash/log";
constexpr char mount_program[] = "/vamo/bin/kytemount";

// Also a mount whose process was killed goes.
void unmount_all() {
  while (umount2(mount_point, MNT_DETACH) == 0) {
  }
}

// What was at the mount point before, also below a mount, must not be taken for the flash's.
void start_afresh() {
  unmount_all();
  fs::remove_all("/tmp/flash");
  fs::create_directories(chip);
  fs::remove_all(mount_point);
  fs::create_directory(mount_point);
  fs::remove(mount_marker);
  fs::remove(mount_program);
  fs::create_symlink(std::string(std::getenv("VESK_BIN_DIR")) + "/vesk_flash", mount_program);
}

uint64_t bytes_on_chip() {
  uint64_t used = 0;
  for (const auto &file : fs::directory_iterator(chip)) used += file.file_size();
  return used;
}

}  // namespace

broken_flash::~broken_flash() {
  if (process_) unmount();
}

void broken_flash::mount_new() {
  if (without_mounts()) GTEST_SKIP() << "this private root may not mount";
  start_afresh();
  plan_ = new_plan();
  ASSERT_NE(plan_, nullptr) << std::strerror(errno);
  process_.emplace(std::vector<std::string>{mount_program},
                   start_options{.output_file = log_of_flash});
  eventually([&] { return !process_->running() || exists(mount_marker); });
  if (!process_->running()) {
    const int status = process_->wait().status;
    process_.reset();
    if (status == no_mount_here) GTEST_SKIP() << contents_of(log_of_flash);
  }
  ASSERT_TRUE(process_ && is_mounted()) << contents_of(log_of_flash);
}

// A mount that is still to come would stay for the next test. The first process is ours to end; the
// others end when they are unmounted.
void broken_flash::unmount() {
  heal();
  let_mount_program_go();
  unmount_all();
  process_.reset();
}

void broken_flash::will(const fault &next) {
  flash_rule &rule = plan_->rule(next.call);
  rule.times = 0;
  rule.hits = 0;
  rule.skip = next.skip;
  rule.error = next.error;
  rule.keep = next.keep;
  rule.stay_ms = static_cast<uint32_t>(next.stay.count());
  rule.times = next.times;
}

void broken_flash::leave_room(uint64_t bytes) {
  plan_->capacity = bytes_on_chip() + bytes;
}

bool broken_flash::turn_read_only() {
  return mount(nullptr, mount_point, nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == 0;
}

void broken_flash::heal() {
  for (auto &rule : plan_->rules) {
    rule.times = 0;
    rule.stay_ms = 0;
  }
  plan_->capacity = endless;
}

bool broken_flash::let_mount_program_go() {
  plan_->hold = false;
  return eventually([] { return exists(mount_marker); });
}

std::string broken_flash::on_chip(const std::string &name) const {
  return contents_of(std::string(chip) + "/" + name);
}

bool broken_flash::has(const std::string &name) const {
  return exists(std::string(chip) + "/" + name);
}

}  // namespace vesk::test
