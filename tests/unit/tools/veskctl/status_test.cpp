// veskctl status: all that can be known from outside, and nothing else.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/support/fake_service.h"
#include "tests/support/pattern.h"
#include "tests/unit/tools/veskctl/run_veskctl.h"

namespace vesk::test {
namespace {

constexpr char marker[] = "/kyte_mounted";

// Answers the status request and the one for the history, each with what the test gives.
fake_service::behaviour daemon_with(const std::string &status, const std::string &history) {
  return [=](const fake_service &service, const request &to) {
    service.answer(to, to.header.opcode == 60004 ? status : history);
  };
}

class Status : public ::testing::Test {
 protected:
  Status() {
    setenv("TZ", "UTC", 1);
    std::ofstream{marker};
    std::filesystem::create_directories("/mnt/vesk");
  }
  ~Status() override {
    std::ofstream{marker};
    std::filesystem::create_directories("/mnt/vesk");
  }

  // The lines without what depends on the machine: how long the answer took, and the space.
  ended asked() {
    ended end = veskctl(dir_, {"status"});
    end.out = pattern("answered in [0-9]+\\.[0-9]{3} ms").replaced(end.out, "answered in N ms");
    end.out = pattern(
                  "[0-9.]+ [a-zA-Z]+ of [0-9.]+ [a-zA-Z]+ free, "
                  "(no mount point but part of a larger file system|a mount point)\n")
                  .replaced(end.out, "N free\n");
    return end;
  }

  ended asked_for_json() {
    ended end = veskctl(dir_, {"status", "--json"});
    end.out = pattern("\"answer_seconds\":[0-9.e-]+").replaced(end.out, "\"answer_seconds\":N");
    end.out = pattern("\"mount_point\":(true|false),\"size_bytes\":[0-9]+,\"free_bytes\":[0-9]+")
                  .replaced(end.out, "\"space\":N");
    return end;
  }

  run_dir dir_;
};

const std::string healthy = host_status(4711, 273'906'000'007, {9, 1, 2, 3, 4, 5, 6, 70, 8, 90, 1});

TEST_F(Status, shows_a_daemon_that_is_well) {
  const fake_service service(
      dir_, daemon_with(host_status(77, 59'999'999, {3, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0}), ""));
  const ended end = asked();
  EXPECT_EQ(end.status, 0) << end.err;
  EXPECT_EQ(end.err, "");
  EXPECT_EQ(end.out,
            "daemon:    answered in N ms, process 77, up 59.9 s\n"
            "marker:    /kyte_mounted is there\n"
            "space:     /mnt/vesk: N free\n"
            "received:  3\n"
            "refused:   0\n"
            "answers:   2 sent, 0 reached nobody\n"
            "listeners: 0 reached, 0 missed\n"
            "errors:    none in the event history\n");
  const auto seen = service.requests();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].header.opcode, 60004u);
  EXPECT_EQ(seen[0].payload, "");
  EXPECT_EQ(seen[1].header.opcode, 60002u);
}

TEST_F(Status, shows_every_counter_and_the_latest_errors) {
  std::string history = event(1000000000, 1, 3, 1151, "") + event(1000000000, 2, 100, 0, "a trace");
  for (uint32_t i = 1; i <= 7; ++i) {
    history += event(1000000000 + i, i, 101, 0, "ERROR: no " + std::to_string(i) + "\n");
  }
  const fake_service service(dir_, daemon_with(healthy, history));
  const ended end = asked();
  EXPECT_EQ(end.status, 0) << end.err;
  EXPECT_EQ(end.out,
            "daemon:    answered in N ms, process 4711, up 3 d 4 h\n"
            "marker:    /kyte_mounted is there\n"
            "space:     /mnt/vesk: N free\n"
            "received:  9\n"
            "refused:   21 (1 unknown version, 2 wrong length, 3 not permitted, 4 wrong payload, "
            "5 no message, 6 no request)\n"
            "answers:   70 sent, 8 reached nobody\n"
            "listeners: 90 reached, 1 missed\n"
            "errors:    7 in the event history, the latest:\n"
            "  2001-09-09 01:46:43.000003 ERROR: no 3\n"
            "  2001-09-09 01:46:44.000004 ERROR: no 4\n"
            "  2001-09-09 01:46:45.000005 ERROR: no 5\n"
            "  2001-09-09 01:46:46.000006 ERROR: no 6\n"
            "  2001-09-09 01:46:47.000007 ERROR: no 7\n");
}

TEST_F(Status, is_one_object_of_json) {
  const fake_service service(dir_,
                             daemon_with(healthy, event(5, 6, 101, 0, "ERROR: \"a\\\xFF\x07\n")));
  const ended end = asked_for_json();
  EXPECT_EQ(end.status, 0) << end.err;
  EXPECT_EQ(end.out,
            "{\"daemon\":{\"answers\":true,\"answer_seconds\":N,\"pid\":4711,"
            "\"uptime_seconds\":273906.000007},"
            "\"flash\":{\"marker\":true,\"directory\":\"/mnt/vesk\",\"space\":N},"
            "\"messages\":{\"received\":9,\"refused\":{\"bad_version\":1,\"bad_length\":2,"
            "\"not_permitted\":3,\"bad_request\":4,\"not_ours\":5,\"came_back\":6},"
            "\"answered\":70,\"unanswered\":8,\"listeners_reached\":90,\"listeners_missed\":1},"
            "\"errors\":{\"count\":1,\"latest\":[{\"secs\":5,\"usecs\":6,"
            "\"text\":\"ERROR: \\\"a\\\\\\\\xff\\\\x07\"}]}}\n");
}

TEST_F(Status, shows_the_rest_when_no_daemon_is_there) {
  const std::string said = "no daemon answers at " + dir_.socket_path() + ": is vesk_sup running?";
  const ended end = asked();
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.err, "");
  EXPECT_EQ(end.out, "daemon:    " + said +
                         "\n"
                         "marker:    /kyte_mounted is there\n"
                         "space:     /mnt/vesk: N free\n"
                         "received:  not known\n"
                         "refused:   not known\n"
                         "answers:   not known\n"
                         "listeners: not known\n"
                         "errors:    not known: the daemon does not answer\n");
  const ended json = asked_for_json();
  EXPECT_EQ(json.status, 1);
  EXPECT_EQ(json.out, "{\"daemon\":{\"answers\":false,\"trouble\":\"" + said +
                          "\"},"
                          "\"flash\":{\"marker\":true,\"directory\":\"/mnt/vesk\",\"space\":N},"
                          "\"errors\":{\"trouble\":\"the daemon does not answer\"}}\n");
}

TEST_F(Status, waits_no_longer_than_it_is_told) {
  const fake_service service(dir_, silence);
  const ended end = veskctl(dir_, {"status", "--timeout", "0.05"});
  EXPECT_EQ(end.status, 1);
  EXPECT_TRUE(contains(end.out, "daemon:    the daemon did not answer in time at ")) << end.out;
  EXPECT_TRUE(contains(end.out, "received:  not known\n")) << end.out;
  EXPECT_EQ(service.requests().size(), 1u) << "the history is not asked for in vain";
}

TEST_F(Status, fails_without_the_marker) {
  const fake_service service(dir_, [](const fake_service &s, const request &to) {
    to.header.opcode == 60004 ? s.answer(to, healthy) : s.receipt(to);
  });
  std::filesystem::remove(marker);
  const ended end = asked();
  EXPECT_EQ(end.status, 1);
  EXPECT_TRUE(contains(
      end.out, "marker:    /kyte_mounted is missing: the daemon lets every message go unread\n"))
      << end.out;
  EXPECT_TRUE(contains(end.out, "received:  9\n")) << end.out;
  EXPECT_TRUE(contains(end.out,
                       "errors:    not known: the daemon let it go without an answer: is the flash "
                       "mounted?\n"))
      << end.out;
  const ended json = asked_for_json();
  EXPECT_EQ(json.status, 1);
  EXPECT_TRUE(contains(json.out, "\"flash\":{\"marker\":false,")) << json.out;
}

TEST_F(Status, shows_the_rest_to_who_may_not_see_the_history) {
  const fake_service service(dir_, [](const fake_service &s, const request &to) {
    to.header.opcode == 60004 ? s.answer(to, healthy) : s.refuse(to, 3);
  });
  const ended end = asked();
  EXPECT_EQ(end.status, 0);
  EXPECT_TRUE(contains(end.out, "process 4711")) << end.out;
  EXPECT_TRUE(
      contains(end.out, "errors:    not known: only root and the daemon's own user may do this\n"))
      << end.out;
}

TEST_F(Status, knows_a_daemon_that_does_not_know_the_request) {
  const fake_service service(dir_, [](const fake_service &s, const request &to) {
    to.header.opcode == 60004 ? s.receipt(to) : s.answer(to, "");
  });
  const ended end = asked();
  EXPECT_EQ(end.status, 0);
  EXPECT_TRUE(contains(end.out,
                       "daemon:    answered in N ms, but it is of a version that does not know the "
                       "status request\n"))
      << end.out;
  EXPECT_TRUE(contains(end.out, "received:  not known\n")) << end.out;
}

TEST_F(Status, takes_the_fields_of_later_versions_and_no_cut_answer) {
  {
    std::string later = healthy + std::string(16, '\x7F');
    later[0] = 2;
    const fake_service service(dir_, daemon_with(later, ""));
    EXPECT_TRUE(contains(asked().out, "listeners: 90 reached, 1 missed\n"));
  }
  for (const std::string &wrong : {healthy.substr(0, 103), std::string(104, '\0'), std::string()}) {
    const fake_service service(dir_, daemon_with(wrong, ""));
    const ended end = asked();
    EXPECT_TRUE(contains(end.out, ", but the daemon's answer makes no sense")) << end.out;
    EXPECT_TRUE(contains(end.out, "received:  not known\n")) << end.out;
  }
}

TEST_F(Status, shows_the_rest_when_there_is_no_log_directory) {
  const fake_service service(dir_, daemon_with(healthy, ""));
  std::filesystem::remove_all("/mnt/vesk");
  const ended end = asked();
  EXPECT_EQ(end.status, 0);
  EXPECT_TRUE(contains(end.out, "space:     /mnt/vesk: No such file or directory\n")) << end.out;
  EXPECT_TRUE(contains(asked_for_json().out,
                       "\"directory\":\"/mnt/vesk\",\"trouble\":\"No such file or directory\"}"));
}

TEST_F(Status, tells_a_file_system_of_its_own_from_a_directory) {
  const fake_service service(dir_, daemon_with(healthy, ""));
  EXPECT_TRUE(contains(veskctl(dir_, {"status"}).out,
                       " free, no mount point but part of a larger file system\n"));
  if (mount("none", "/mnt/vesk", "tmpfs", 0, "size=64m") != 0) {
    GTEST_SKIP() << "this private root may not mount";
  }
  const std::string mounted = veskctl(dir_, {"status"}).out;
  std::ofstream("/mnt/vesk/file") << std::string(3 << 20, 'x');
  const std::string filled = veskctl(dir_, {"status", "--json"}).out;
  EXPECT_EQ(umount("/mnt/vesk"), 0);
  EXPECT_TRUE(contains(mounted, "space:     /mnt/vesk: 64.0 MiB of 64.0 MiB free, a mount point\n"))
      << mounted;
  EXPECT_TRUE(
      contains(filled, "\"mount_point\":true,\"size_bytes\":67108864,\"free_bytes\":63963136"))
      << filled;

  std::filesystem::create_directory("/tmp/elsewhere");
  ASSERT_EQ(mount("/tmp/elsewhere", "/mnt/vesk", nullptr, MS_BIND, nullptr), 0);
  const std::string bound = veskctl(dir_, {"status"}).out;
  EXPECT_EQ(umount("/mnt/vesk"), 0);
  EXPECT_TRUE(contains(bound, " free, a mount point\n")) << "though the device is the same\n"
                                                         << bound;
}

}  // namespace
}  // namespace vesk::test
