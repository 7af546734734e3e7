#include "tests/flash/broken_flash.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "tests/flash/mount_point.h"
#include "tests/support/poll.h"
#include "tests/support/program.h"
#include "tests/support/running_daemon.h"

namespace vesk::test {

namespace {

namespace fs = std::filesystem;

constexpr char log_of_flash[] = "/tmp/flash/log";
constexpr char mount_program[] = "/vamo/bin/kytemount";

std::string setting(const char *name) {
  const char *value = std::getenv(name);
  return value == nullptr ? "" : value;
}

bool without_mounts() {
  return setting("VESK_ROOT_WAY") == "chroot";
}

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
  fs::create_symlink(setting("VESK_BIN_DIR") + "/vesk_flash", mount_program);
}

uint64_t bytes_on_chip() {
  uint64_t used = 0;
  for (const auto &file : fs::directory_iterator(chip)) used += file.file_size();
  return used;
}

}  // namespace

broken_flash::~broken_flash() {
  if (process_ > 0) unmount();
}

void broken_flash::mount_new() {
  if (without_mounts()) GTEST_SKIP() << "this private root may not mount";
  start_afresh();
  plan_ = new_plan();
  ASSERT_NE(plan_, nullptr) << std::strerror(errno);
  process_ = start({mount_program}, log_of_flash);
  int status = 0;
  bool ended = false;
  eventually([&] {
    ended = waitpid(process_, &status, WNOHANG) == process_;
    return ended || exists(mount_marker);
  });
  if (ended) process_ = 0;
  if (ended && WIFEXITED(status) && WEXITSTATUS(status) == no_mount_here) {
    GTEST_SKIP() << contents_of(log_of_flash);
  }
  ASSERT_TRUE(!ended && is_mounted()) << contents_of(log_of_flash);
}

// A mount that is still to come would stay for the next test. The first process is ours to end; the
// others end when they are unmounted.
void broken_flash::unmount() {
  heal();
  let_mount_program_go();
  unmount_all();
  kill(process_, SIGKILL);
  wait_for(process_);
  process_ = 0;
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
