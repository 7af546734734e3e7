#include "host/vesk_access_point.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "tests/unit/host/host_test.h"

namespace vesk::test {
namespace {

class AccessPoint : public ::testing::Test {
 protected:
  ~AccessPoint() override { release_access_point(point_); }

  bool claim() { return claim_access_point(1016, point_); }

  mode_t mode_of(const std::string &path) const {
    struct stat st {};
    EXPECT_EQ(lstat(path.c_str(), &st), 0) << path;
    return st.st_mode;
  }

  scratch_directory parent_;
  std::string dir_ = parent_ / "run";
  std::string socket_ = dir_ + "/sap-1016";
  setting run_dir_{"VESK_RUN_DIR", dir_.c_str()};
  setting group_{"VESK_GROUP", nullptr};
  access_point point_;
};

TEST_F(AccessPoint, makes_the_directories_and_a_socket_for_owner_and_group) {
  const mode_t former = umask(0077);
  EXPECT_TRUE(claim());
  umask(former);
  EXPECT_EQ(mode_of(dir_), S_IFDIR | 0755U);
  EXPECT_EQ(mode_of(dir_ + "/listeners"), S_IFDIR | 0770U);
  EXPECT_EQ(mode_of(socket_), S_IFSOCK | 0660U);
}

TEST_F(AccessPoint, leaves_a_listeners_directory_that_is_there_as_it_is) {
  mkdir(dir_.c_str(), 0755);
  mkdir((dir_ + "/listeners").c_str(), 0700);
  EXPECT_TRUE(claim());
  EXPECT_EQ(mode_of(dir_ + "/listeners"), S_IFDIR | 0700U);
}

TEST_F(AccessPoint, gives_the_socket_to_the_configured_group) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may give a file to any group";
  const group *root = getgrgid(0);
  if (root == nullptr) GTEST_SKIP() << "this machine knows no group by name";
  const setting named("VESK_GROUP", root->gr_name);
  mkdir(dir_.c_str(), 0755);
  EXPECT_TRUE(claim());
  struct stat st {};
  ASSERT_EQ(stat(socket_.c_str(), &st), 0);
  EXPECT_EQ(st.st_gid, 0U);
}

TEST_F(AccessPoint, goes_on_without_a_group_that_does_not_exist) {
  const setting named("VESK_GROUP", "no-such-group");
  const stderr_capture captured;
  EXPECT_TRUE(claim());
  EXPECT_EQ(captured.text(), "<4>vesk host: there is no group \"no-such-group\" (VESK_GROUP)\n");
}

TEST_F(AccessPoint, refuses_a_second_claim_while_the_first_one_holds) {
  ASSERT_TRUE(claim());
  const stderr_capture captured;
  access_point second;
  EXPECT_FALSE(claim_access_point(1016, second));
  EXPECT_EQ(errno, EADDRINUSE);
  EXPECT_EQ(second.socket, -1);
  EXPECT_EQ(captured.text(), "<3>vesk host: " + socket_ + " is already served by another daemon\n");
  EXPECT_EQ(access(socket_.c_str(), F_OK), 0);
}

// As it is for a moment when two processes start at once.
TEST_F(AccessPoint, refuses_a_second_claim_also_while_there_is_no_socket_to_see) {
  ASSERT_TRUE(claim());
  unlink(socket_.c_str());
  const stderr_capture captured;
  access_point second;
  EXPECT_FALSE(claim_access_point(1016, second));
  EXPECT_TRUE(contains(captured.text(), "already served"));
}

TEST_F(AccessPoint, refuses_a_socket_that_somebody_serves_without_the_lock) {
  mkdir(dir_.c_str(), 0755);
  const int other = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const sockaddr_un address = address_of(socket_);
  ASSERT_EQ(bind(other, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
  const stderr_capture captured;
  EXPECT_FALSE(claim());
  EXPECT_TRUE(contains(captured.text(), "already served"));
  EXPECT_EQ(mode_of(socket_) & S_IFMT, static_cast<mode_t>(S_IFSOCK)) << "it was taken away";
  close(other);
}

TEST_F(AccessPoint, replaces_the_socket_that_a_dead_process_left) {
  ASSERT_TRUE(claim());
  release_access_point(point_);
  ASSERT_EQ(access(socket_.c_str(), F_OK), 0) << "nothing stale to replace";
  const stderr_capture captured;
  EXPECT_TRUE(claim());
  EXPECT_EQ(captured.text(), "");

  const int sender = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const sockaddr_un address = address_of(socket_);
  EXPECT_EQ(sendto(sender, "x", 1, 0, reinterpret_cast<const sockaddr *>(&address), sizeof address),
            1);
  EXPECT_TRUE(readable(point_.socket));
  close(sender);
}

TEST_F(AccessPoint, leaves_a_file_that_is_no_socket_where_it_is) {
  mkdir(dir_.c_str(), 0755);
  close(open(socket_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  const stderr_capture captured;
  EXPECT_FALSE(claim());
  EXPECT_EQ(captured.text(), "<3>vesk host: cannot replace " + socket_ + ": Connection refused\n");
  EXPECT_TRUE(S_ISREG(mode_of(socket_)));
}

TEST_F(AccessPoint, says_why_it_cannot_make_the_run_directory) {
  const setting nowhere("VESK_RUN_DIR", (parent_ / "no/such/parent").c_str());
  const stderr_capture captured;
  EXPECT_FALSE(claim());
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(captured.text(), "<3>vesk host: cannot make " + parent_ / "no/such/parent" +
                                 ": No such file or directory\n");
}

TEST_F(AccessPoint, refuses_a_run_directory_too_long_for_a_socket) {
  const std::string dir = '/' + std::string(99, 'd');
  const setting too_long("VESK_RUN_DIR", dir.c_str());
  const stderr_capture captured;
  EXPECT_FALSE(claim());
  EXPECT_EQ(errno, ENAMETOOLONG);
  EXPECT_EQ(captured.text(),
            "<3>vesk host: the run directory's name is too long for a socket (100 bytes, with the "
            "socket's own name at most 107): " +
                dir + "\n");
}

}  // namespace
}  // namespace vesk::test
