#include "daemon/vesk_mount_check.h"

#include "tests/unit/daemon/daemon_test.h"

namespace vesk::test {

namespace {

constexpr char upgrade_image[] = "/vamo-upgrade/vamo.bin";

// As the program begins, before any test.
const uint32_t pending_at_first = mount_check_pending;
const uint32_t seen_at_first = issu_seen;

}  // namespace

struct MountCheck : daemon_test {
  void begin_upgrade() {
    make_dir("/vamo-upgrade");
    write_file(upgrade_image, {1});
  }
  void end_upgrade() { remove_all(upgrade_image); }
};

TEST_F(MountCheck, is_pending_when_the_process_begins) {
  EXPECT_EQ(pending_at_first, 1u);
  EXPECT_EQ(seen_at_first, 0u);
}

TEST_F(MountCheck, without_an_upgrade_is_made_once_and_starts_nothing) {
  vesk_check_issu_mount();
  EXPECT_EQ(mount_check_pending, 0u);
  EXPECT_EQ(platform.journal, lines());

  begin_upgrade();
  vesk_check_issu_mount();
  EXPECT_EQ(issu_seen, 0u);
}

TEST_F(MountCheck, stays_pending_while_the_upgrade_image_is_there) {
  begin_upgrade();
  for (int i = 0; i < 3; ++i) vesk_check_issu_mount();
  EXPECT_EQ(mount_check_pending, 1u);
  EXPECT_EQ(issu_seen, 1u);
  EXPECT_EQ(platform.journal, lines());
}

TEST_F(MountCheck, starts_the_mount_program_once_when_the_upgrade_is_over) {
  begin_upgrade();
  vesk_check_issu_mount();
  end_upgrade();
  for (int i = 0; i < 3; ++i) vesk_check_issu_mount();
  EXPECT_EQ(platform.journal, mount_after_upgrade);
  EXPECT_EQ(mount_check_pending, 0u);
  EXPECT_EQ(issu_seen, 0u);
}

TEST_F(MountCheck, is_not_repeated_when_the_mount_program_does_not_start) {
  begin_upgrade();
  vesk_check_issu_mount();
  end_upgrade();
  platform.next("execute_program_and_let_go", -1);
  vesk_check_issu_mount();
  vesk_check_issu_mount();
  EXPECT_EQ(platform.calls, lines({"execute_program_and_let_go(/vamo/bin/kytemount)"}));
}

}  // namespace vesk::test
