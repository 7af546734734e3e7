// The mount program, as it is installed in the private root.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "tests/support/program.h"
#include "tests/unit/host/host_test.h"

namespace vesk::test {
namespace {

constexpr char marker[] = "/kyte_mounted";
constexpr char conf[] = "/etc/vesk/flash.conf";

// Starts without a marker and with nothing mounted; leaves the root as it is found: with a marker.
class Kytemount : public ::testing::Test {
 protected:
  Kytemount() {
    unlink(marker);
    mkdir("/etc/vesk", 0755);
  }
  ~Kytemount() override {
    unlink(conf);
    std::system("umount /mnt/vesk 2>/dev/null");
    std::ofstream{marker};
  }

  // Its exit status; what it printed is in `printed_`.
  int run(const std::string &arguments = "") {
    const ended result = run_shell("/vamo/bin/kytemount " + arguments);
    printed_ = result.output();
    return result.status;
  }

  // A directory with a file in it by which it can be known at /mnt/vesk.
  std::string flash_directory(const std::string &known = "known") const {
    const std::string path = dir_ / ("flash-" + known);
    mkdir(path.c_str(), 0755);
    std::ofstream{path + '/' + known};
    return path;
  }

  void configure(const std::string &flash) {
    std::ofstream(conf) << "VESK_FLASH=" << flash << '\n';
  }

  scratch_directory dir_;
  std::string printed_;
  setting flash_{"VESK_FLASH", nullptr};
};

TEST_F(Kytemount, leaves_a_plain_directory_where_no_flash_is_named) {
  EXPECT_EQ(run(), 0) << printed_;
  EXPECT_TRUE(exists(marker));
  EXPECT_EQ(printed_, "");
}

TEST_F(Kytemount, takes_an_empty_name_for_none) {
  const setting empty("VESK_FLASH", "");
  std::ofstream(conf) << "VESK_FLASH=/no/such/device\n";
  EXPECT_EQ(run(), 0) << printed_;
  EXPECT_TRUE(exists(marker));
}

TEST_F(Kytemount, makes_no_marker_for_a_flash_that_is_not_there) {
  const setting missing("VESK_FLASH", "/no/such/device");
  EXPECT_EQ(run(), 3);
  EXPECT_FALSE(exists(marker));
  EXPECT_EQ(printed_, "kytemount: VESK_FLASH is /no/such/device, which does not exist\n");
}

TEST_F(Kytemount, makes_no_marker_for_what_cannot_be_mounted) {
  const setting terminal("VESK_FLASH", "/dev/null");
  EXPECT_EQ(run(), 3) << printed_;
  EXPECT_FALSE(exists(marker));
}

TEST_F(Kytemount, makes_no_marker_when_the_mount_fails) {
  const std::string image = dir_ / "image";
  std::ofstream(image) << std::string(65536, '\x5A');
  const setting file("VESK_FLASH", image.c_str());
  EXPECT_EQ(run(), 1);
  EXPECT_FALSE(exists(marker));
  EXPECT_TRUE(contains(printed_, "kytemount: cannot mount " + image + " at /mnt/vesk\n"))
      << printed_;
}

TEST_F(Kytemount, reads_its_configuration_and_does_not_run_it) {
  std::ofstream(conf) << "# VESK_FLASH=/commented/out\nVESK_FLASH=/overridden\n"
                      << "  VESK_FLASH=\"/no/such/$(touch " << dir_ / "ran"
                      << ")\"  \nOTHER=1\n";
  EXPECT_EQ(run(), 3);
  EXPECT_EQ(printed_, "kytemount: VESK_FLASH is /no/such/$(touch " + dir_ / "ran" +
                          "), which does not exist\n");
  EXPECT_FALSE(exists(dir_ / "ran"));
}

TEST_F(Kytemount, binds_a_directory_once) {
  if (without_mounts()) GTEST_SKIP() << "this private root has no right to mount";
  configure(flash_directory());
  EXPECT_EQ(run(), 0) << printed_;
  EXPECT_TRUE(exists("/mnt/vesk/known"));
  EXPECT_TRUE(exists(marker));

  unlink(marker);
  EXPECT_EQ(run(), 0) << printed_;
  EXPECT_TRUE(exists(marker));
  std::system("umount /mnt/vesk");
  EXPECT_FALSE(exists("/mnt/vesk/known")) << "it was mounted twice";
}

TEST_F(Kytemount, leaves_what_is_mounted_while_its_marker_is_there) {
  if (without_mounts()) GTEST_SKIP() << "this private root has no right to mount";
  configure(flash_directory("old"));
  ASSERT_EQ(run(), 0) << printed_;
  configure(flash_directory("new"));
  EXPECT_EQ(run(), 0) << printed_;
  EXPECT_TRUE(exists("/mnt/vesk/old"));
}

TEST_F(Kytemount, mounts_again_what_has_lost_its_marker) {
  if (without_mounts()) GTEST_SKIP() << "this private root has no right to mount";
  configure(flash_directory("old"));
  ASSERT_EQ(run(), 0) << printed_;
  configure(flash_directory("new"));
  unlink(marker);
  EXPECT_EQ(run(), 0) << printed_;
  EXPECT_EQ(printed_, "");
  EXPECT_TRUE(exists("/mnt/vesk/new"));
  EXPECT_TRUE(exists(marker));
}

TEST_F(Kytemount, leaves_what_is_in_use) {
  if (without_mounts()) GTEST_SKIP() << "this private root has no right to mount";
  configure(flash_directory("old"));
  ASSERT_EQ(run(), 0) << printed_;
  const std::ifstream user("/mnt/vesk/old");
  unlink(marker);
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(printed_, "kytemount: /mnt/vesk is in use and stays mounted as it is\n");
  EXPECT_TRUE(exists("/mnt/vesk/old"));
  EXPECT_TRUE(exists(marker));
}

TEST_F(Kytemount, explains_itself) {
  EXPECT_EQ(run("--help"), 0);
  EXPECT_EQ(printed_.substr(0, 25), "Usage: kytemount [--help]");
  EXPECT_FALSE(exists(marker));
  EXPECT_EQ(run("now"), 2);
  EXPECT_EQ(run("--help now"), 2);
  EXPECT_FALSE(exists(marker));
}

}  // namespace
}  // namespace vesk::test
