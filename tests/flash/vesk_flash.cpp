// A flash that misbehaves on command, and the mount program of it: mounts itself at the daemon's
// mount point, makes the marker, and serves until it is unmounted or the test has ended.
#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "base/vesk_fd.h"
#include "tests/flash/flash_files.h"
#include "tests/flash/flash_plan.h"
#include "tests/flash/mount_point.h"

namespace {

using vesk::unique_fd;
using vesk::test::flash_plan;

bool has_ended(const unique_fd &process) {
  pollfd end{process.get(), POLLIN, 0};
  return poll(&end, 1, 0) != 0;
}

bool make_marker() {
  return bool(unique_fd(open(vesk::test::mount_marker, O_WRONLY | O_CREAT | O_CLOEXEC, 0644)));
}

// Until it is unmounted, or the test has ended. One request after the other, so that a slow one
// makes all others wait.
void serve(fuse *flash, const unique_fd &owner) {
  fuse_session *session = fuse_get_session(flash);
  fuse_buf request{};
  while (!fuse_session_exited(session)) {
    pollfd watched[] = {{fuse_session_fd(session), POLLIN, 0}, {owner.get(), POLLIN, 0}};
    if (poll(watched, 2, -1) < 0 && errno != EINTR) break;
    if (watched[1].revents != 0) break;
    if (fuse_session_receive_buf(session, &request) > 0) {
      vesk::test::note_request(request);
      fuse_session_process_buf(session, &request);
    }
  }
  std::free(request.mem);
}

int mount_and_serve(flash_plan *plan, const unique_fd &owner) {
  char name[] = "vesk_flash";
  char *arguments[] = {name};
  fuse_args args = FUSE_ARGS_INIT(1, arguments);
  const fuse_operations operations = vesk::test::flash_operations(plan);
  fuse *flash = fuse_new(&args, &operations, sizeof operations, nullptr);
  fuse_opt_free_args(&args);
  if (flash == nullptr) return 1;
  if (fuse_mount(flash, vesk::test::mount_point) != 0) return vesk::test::no_mount_here;
  if (!make_marker()) return 1;
  serve(flash, owner);
  fuse_unmount(flash);  // if it is not unmounted yet
  fuse_destroy(flash);
  return 0;
}

}  // namespace

int main() {
  flash_plan *plan = vesk::test::existing_plan();
  if (plan == nullptr) {
    std::perror(vesk::test::plan_path);
    return 1;
  }
  const unique_fd owner(static_cast<int32_t>(syscall(SYS_pidfd_open, plan->owner.load(), 0)));
  if (!owner) {
    std::perror("vesk_flash: the test has ended");
    return 1;
  }
  ++plan->mounts_begun;
  while (plan->hold && !has_ended(owner)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  if (has_ended(owner)) return 1;
  if (vesk::test::is_mounted()) return make_marker() ? 0 : 1;
  return mount_and_serve(plan, owner);
}
