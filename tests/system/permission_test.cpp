// What an ordinary user may send, and what only root and the daemon's own user may.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/process.h"
#include "tests/support/running_daemon.h"

namespace vesk::test {

namespace {

constexpr char socket_path[] = "/run/vesk/sap-1016";

class Permission : public daemon_test {
 protected:
  void SetUp() override {
    if (!other_users()) {
      GTEST_SKIP() << "this private root knows only one user id; it needs to be entered as root";
    }
    daemon_test::SetUp();
  }
};

TEST_F(Permission, ordinary_user_cannot_open_the_socket_as_it_is) {
  EXPECT_EQ(as_nobody([] { return wire_socket().send(1152, {}) == 0 && errno == EACCES ? 0 : 1; }),
            0);
}

TEST_F(Permission, whoever_may_open_the_socket_may_log_and_ask_for_statistics) {
  ASSERT_EQ(chmod(socket_path, 0666), 0);
  EXPECT_EQ(as_nobody([] {
              wire_socket own;
              return stores(own, good_record("from an ordinary user")) ? 0 : 1;
            }),
            0);
  EXPECT_EQ(shown_data("vesk"), std::vector<std::string>{"from an ordinary user"});
  EXPECT_EQ(
      as_nobody([] { return wire_socket().request(1152, {}).payload.size() == 21896 ? 0 : 1; }), 0);
}

class PrivilegedOpcode : public Permission, public ::testing::WithParamInterface<uint32_t> {};

TEST_P(PrivilegedOpcode, is_refused_to_an_ordinary_user) {
  ASSERT_EQ(chmod(socket_path, 0666), 0);
  EXPECT_EQ(as_nobody([] {
              // It would disable every file type, were it let through.
              const reply got = wire_socket().request(GetParam(), half_words({2, 0}));
              const bool refused = got.header.flags == VESK_WIRE_REFUSED;
              return refused && got.word() == VESK_WIRE_NOT_PERMITTED ? 0 : 1;
            }),
            0);
  EXPECT_TRUE(stores(sender, good_record("unharmed")));
}

INSTANTIATE_TEST_SUITE_P(each, PrivilegedOpcode,
                         ::testing::Values(1153, 1155, 1158, 6024, 60001, 60002, 60003));

}  // namespace

}  // namespace vesk::test
