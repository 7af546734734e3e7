// veskctl as a person meets it: what it sends, what it says, how it ends.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/support/fake_service.h"
#include "tests/support/poll.h"
#include "tests/support/without_override.h"
#include "tests/unit/tools/veskctl/run_veskctl.h"

namespace vesk::test {
namespace {

using ::testing::Test;

TEST(Usage, is_wrong_with_status_two) {
  const run_dir dir;
  const std::vector<std::vector<std::string>> wrong = {
      {},
      {"nonsense"},
      {"--nonsense", "stats"},
      {"stats", "more"},
      {"--timeout", "0", "stats"},
      {"--timeout", "soon", "stats"},
      {"send", "--uuid", "25", "x"},
      {"send", "--file", "vesk", "x"},
      {"send", "--file", "nosuch", "--uuid", "25", "x"},
      {"send", "--file", "0", "--uuid", "25", "x"},
      {"send", "--file", "39", "--uuid", "25", "x"},
      {"send", "--file", "5x", "--uuid", "25", "x"},
      {"send", "--file", "vesk", "--uuid", "0", "x"},
      {"send", "--file", "vesk", "--uuid", "2737", "x"},
      {"send", "--file", "vesk", "--uuid", "25", "--type", "1023", "x"},
      {"send", "--file", "vesk", "--uuid", "25", "--type", "65536", "x"},
      {"send", "--file", "vesk", "--uuid", "25", "--flags", "256", "x"},
      {"send", "--file", "vesk", "--uuid", "25", "--sync", "maybe", "x"},
      {"send", "--file", "vesk", "--uuid", "25", ""},
      {"send", "--file", "vesk", "--uuid", "25", "--whole", "x"},
      {"send", "--file", "vesk", "--uuid", "25", "--time", "", "x"},
      {"send", "--file", "vesk", "--uuid", "25", "--time", "soon", "x"},
      {"send", "--file", "vesk", "--uuid", "25", "--time", "0", "x"},
      {"send", "--file", "vesk", "--uuid", "25", "--time", "-1", "x"},
      {"send", "--file", "vesk", "--uuid", "25", "--time", "4294967296", "x"},
      {"send", "--file", "vesk", "--uuid", "25", "--time", ".5", "x"},
      {"send", "--file", "vesk", "--uuid", "25", "--time", "1.", "x"},
      {"send", "--file", "vesk", "--uuid", "25", "--time", "1.1234567", "x"},
      {"send", "--file", "vesk", "--uuid", "25", "--time", "1.-5", "x"},
      {"enable"},
      {"disable", "64"},
      {"clear", "nosuch"},
      {"config"},
      {"config", "--slot", "1"},
      {"config", "--enable", "all"},
      {"config", "--slot", "256", "--enable", "all"},
      {"config", "--slot", "1", "--enable", "all,vesk"},
      {"config", "--slot", "1", "--enable", "all", "--raw", "x"},
      {"fail-notice"},
      {"recover"},
      {"recover", "all"},
      {"recover", "64"},
      {"debug", "--print", "loud"},
      {"history", "-n", "0"},
      {"monitor", "--count", "0"},
      {"status", "more"},
      {"metrics", "more"},
      {"metrics", "--output"},
      {"snapshot"},
      {"snapshot", "/tmp/one", "/tmp/two"},
  };
  for (const auto &arguments : wrong) {
    const ended end = veskctl(dir, arguments);
    const std::string typed = ::testing::PrintToString(arguments);
    EXPECT_EQ(end.status, 2) << typed << end.err;
    EXPECT_EQ(end.out, "") << typed;
    expect_one_line(end.err);
  }
  EXPECT_TRUE(contains(veskctl(dir, {"nonsense"}).err, "'nonsense' is not a subcommand"));
}

TEST(Usage, is_explained_with_status_zero) {
  const run_dir dir;
  for (const char *subcommand :
       {"send", "stats", "enable", "disable", "clear", "config", "recover", "fail-notice", "debug",
        "history", "monitor", "status", "snapshot", "metrics"}) {
    const ended end = veskctl(dir, {subcommand, "--help"});
    EXPECT_EQ(end.status, 0) << subcommand;
    EXPECT_EQ(end.err, "") << subcommand;
    EXPECT_TRUE(contains(end.out, "Examples:\n  veskctl " + std::string(subcommand))) << end.out;
  }
  EXPECT_EQ(veskctl(dir, {"--help"}).status, 0);
  EXPECT_EQ(veskctl(dir, {"--version"}).status, 0);
  EXPECT_TRUE(
      contains(veskctl(dir, {"fail-notice", "--help"}).out, "until the daemon is restarted"));
}

TEST(Daemon, is_missed) {
  const run_dir dir;
  const std::string said = "no daemon answers at " + dir.socket_path() + ": is vesk_sup running?";
  for (const auto &arguments :
       std::vector<std::vector<std::string>>{{"stats"},
                                             {"enable", "all"},
                                             {"config", "--slot", "1", "--enable", "all"},
                                             {"fail-notice", "--slot", "1"},
                                             {"recover", "vesk"},
                                             {"debug"},
                                             {"history"}}) {
    const ended end = veskctl(dir, arguments);
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.err, "veskctl: " + said + "\n");
    EXPECT_EQ(end.out, "");
  }
  const ended end = send_lines(dir, "one\ntwo\n");
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.err, "veskctl: stopped at line 1: " + said + "\n");
  EXPECT_EQ(end.out, "0 accepted, 0 refused, 0 unanswered\n");
}

TEST(Daemon, is_found_where_the_option_says) {
  const run_dir dir;
  const run_dir elsewhere;
  const fake_service service(elsewhere, answer_always(word(1)));
  const ended end =
      veskctl(dir, {"send", "--file", "vesk", "--uuid", "25", "x", "--run-dir", elsewhere.path()});
  EXPECT_EQ(end.status, 0) << end.err;
  EXPECT_EQ(service.requests().size(), 1u);
}

TEST(Daemon, is_waited_for_as_long_as_the_option_says) {
  const run_dir dir;
  const fake_service service(dir, silence);
  const ended end = veskctl(dir, {"--timeout", "0.05", "stats"});
  EXPECT_EQ(end.status, 1);
  EXPECT_TRUE(contains(end.err, "did not answer in time at " + dir.socket_path())) << end.err;
  expect_one_line(end.err);
}

TEST(Daemon, is_forbidden) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  ASSERT_EQ(chmod(dir.socket_path().c_str(), 0), 0);
  const without_override ordinary;
  if (!ordinary.programs()) GTEST_SKIP() << "this root cannot start a program as anybody less";
  const ended end = veskctl(dir, {"stats"});
  EXPECT_EQ(end.status, 1);
  EXPECT_TRUE(contains(
      end.err, "permission denied at " + dir.socket_path() + ": run as root or join group "))
      << end.err;
}

TEST(Stats, shows_senders_that_have_stored) {
  std::string table(21896, '\0');
  table.replace(25 * 8, 8, word(2) + word(88));
  table.replace(2736 * 8, 8, word(4000000000) + word(24));
  const run_dir dir;
  const fake_service service(dir, answer_always(table));
  const ended end = veskctl(dir, {"stats"});
  EXPECT_EQ(end.status, 0) << end.err;
  EXPECT_EQ(end.out,
            "  UUID      ENTRIES        BYTES\n"
            "    25            2           88\n"
            "  2736   4000000000           24\n");
  const ended json = veskctl(dir, {"stats", "--json"});
  EXPECT_EQ(json.status, 0) << json.err;
  EXPECT_EQ(json.out,
            "[{\"uuid\":25,\"entries\":2,\"bytes\":88},"
            "{\"uuid\":2736,\"entries\":4000000000,\"bytes\":24}]\n");
}

TEST(Stats, are_an_empty_array_when_nobody_has_stored) {
  const run_dir dir;
  const fake_service service(dir, answer_always(std::string(21896, '\0')));
  EXPECT_EQ(veskctl(dir, {"stats", "--json"}).out, "[]\n");
}

// Answers every command with this result.
fake_service::behaviour obey(uint32_t result) {
  return [result](const fake_service &s, const request &to) {
    s.answer(to, to.payload + word(result));
  };
}

TEST(Command, names_the_file) {
  const run_dir dir;
  const fake_service service(dir, obey(0));
  EXPECT_EQ(veskctl(dir, {"enable", "vesk"}).out, "vesk.log (5): logging enabled\n");
  EXPECT_EQ(veskctl(dir, {"disable", "all"}).out, "all file types: logging disabled\n");
  EXPECT_EQ(veskctl(dir, {"clear", "kernel_big.log"}).out, "kernel_big.log (22): cleared\n");
  EXPECT_EQ(veskctl(dir, {"disable", "63"}).out, "file type 63: logging disabled\n");
  const auto seen = service.requests();
  ASSERT_EQ(seen.size(), 4u);
  const uint16_t expected[][2] = {{1, 5}, {2, 0}, {3, 22}, {2, 63}};
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(seen[i].header.opcode, 1153u);
    EXPECT_EQ(seen[i].payload,
              std::string(reinterpret_cast<const char *>(expected[i]), sizeof expected[i]));
  }
}

TEST(Command, clears_file_by_file) {
  const run_dir dir;
  const fake_service service(dir, obey(0));
  const ended end = veskctl(dir, {"clear", "all"});
  EXPECT_EQ(end.status, 0) << end.err;
  EXPECT_EQ(service.requests().size(), 16u);
  EXPECT_TRUE(contains(end.out, "temperature_err.log (7): cleared\n"));
}

TEST(Command, tells_a_refusal) {
  const run_dir dir;
  const fake_service service(dir, obey(UINT32_MAX));
  const ended end = veskctl(dir, {"enable", "vesk"});
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.out, "");
  EXPECT_EQ(end.err, "veskctl: vesk.log (5): the daemon refused it; its log says why\n");
}

TEST(Command, tells_that_it_is_not_permitted) {
  const run_dir dir;
  const fake_service service(dir, refuse_always(3));
  const ended end = veskctl(dir, {"disable", "all"});
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.err, "veskctl: only root and the daemon's own user may do this\n");
}

TEST(Config, builds_the_slots_record) {
  const run_dir dir;
  const fake_service service(dir, receipt_always);
  const ended end = veskctl(dir, {"config", "--slot", "2", "--enable", "vesk,38"});
  EXPECT_EQ(end.status, 0) << end.err;
  EXPECT_EQ(end.out,
            "sent slot 2: enabled vesk.log (5), file type 38, every other file type disabled\n");
  std::string expected(195, '\0');
  expected[130] = 1;
  expected[130 + 1 + 5] = 1;
  expected[130 + 1 + 38] = 1;
  ASSERT_EQ(service.requests().size(), 1u);
  EXPECT_EQ(service.requests()[0].header.opcode, 1155u);
  EXPECT_EQ(service.requests()[0].payload, expected);
}

TEST(Config, enables_all_or_none) {
  const run_dir dir;
  const fake_service service(dir, receipt_always);
  EXPECT_EQ(veskctl(dir, {"config", "--slot", "0", "--enable", "all"}).out,
            "sent slot 0: every file type enabled\n");
  EXPECT_EQ(veskctl(dir, {"config", "--slot", "0", "--enable", "none"}).out,
            "sent slot 0: every file type disabled\n");
  const auto seen = service.requests();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].payload, std::string(65, '\1'));
  EXPECT_EQ(seen[1].payload, std::string(65, '\0'));
}

TEST(Config, sends_a_prepared_payload) {
  const run_dir dir;
  const fake_service service(dir, receipt_always);
  const std::string file = dir.path() + "/payload";
  std::ofstream(file) << "prepared";
  EXPECT_EQ(veskctl(dir, {"config", "--raw", file}).out, "sent 8 bytes of " + file + "\n");
  ASSERT_EQ(service.requests().size(), 1u);
  EXPECT_EQ(service.requests()[0].payload, "prepared");

  std::ofstream(file) << "";
  EXPECT_EQ(veskctl(dir, {"config", "--raw", file}).status, 1);
  std::ofstream(file) << std::string(65560, 'x');
  EXPECT_EQ(veskctl(dir, {"config", "--raw", file}).status, 1);
  const ended missing = veskctl(dir, {"config", "--raw", dir.path() + "/missing"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "veskctl: cannot read " + dir.path() + "/missing\n");
  EXPECT_EQ(veskctl(dir, {"config", "--raw", dir.path()}).status, 1);
  EXPECT_EQ(service.requests().size(), 1u);
}

TEST(Recover, sends_the_type_and_what_to_repair) {
  const run_dir dir;
  const fake_service service(dir, receipt_always);
  EXPECT_EQ(veskctl(dir, {"recover", "platform"}).out,
            "asked to rebuild the global header of platform.log (25)\n");
  EXPECT_EQ(veskctl(dir, {"recover", "38", "--entries"}).out,
            "asked to repair the entry headers of file type 38\n");
  const auto seen = service.requests();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].header.opcode, 1158u);
  EXPECT_EQ(seen[0].payload, std::string("\x19\0\0\0\0\0\0\0", 8));
  EXPECT_EQ(seen[1].payload, std::string("\x26\0\0\0\1\0\0\0", 8));
}

TEST(FailNotice, is_big_endian) {
  const run_dir dir;
  const fake_service service(dir, receipt_always);
  EXPECT_EQ(veskctl(dir, {"fail-notice", "--slot", "258"}).status, 0);
  EXPECT_EQ(veskctl(dir, {"fail-notice", "--slot", "1", "--kind", "4"}).status, 0);
  const auto seen = service.requests();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].header.opcode, 6024u);
  EXPECT_EQ(seen[0].payload, std::string("\0\0\0\3\0\0\1\2", 8));
  EXPECT_EQ(seen[1].payload, std::string("\0\0\0\4\0\0\0\1", 8));
}

TEST(Debug, shows_what_is_in_force) {
  const run_dir dir;
  const fake_service service(dir, answer_always(std::string("\1\2\0\0", 4)));
  EXPECT_EQ(veskctl(dir, {"debug"}).out, "print: error\nrecord: trace\n");
  EXPECT_EQ(veskctl(dir, {"debug", "--print", "none", "--record", "trace"}).status, 0);
  const auto seen = service.requests();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].header.opcode, 60001u);
  EXPECT_EQ(seen[0].payload, std::string("\xFF\xFF\0\0", 4));
  EXPECT_EQ(seen[1].payload, std::string("\0\2\0\0", 4));
}

TEST(History, is_printed_a_line_an_event) {
  setenv("TZ", "UTC", 1);
  const run_dir dir;
  const fake_service service(
      dir, answer_always(event(1000000000, 1, 3, 1151, "") +
                         event(1000000001, 20, 100, 0, "TRACE:Got an entry update message\n") +
                         event(1000000002, 300, 101, 0,
                               "ERROR: a\x07"
                               "b") +
                         event(1000000003, 999999, 4, 0, "")));
  const ended end = veskctl(dir, {"history"});
  EXPECT_EQ(end.status, 0) << end.err;
  EXPECT_EQ(end.out,
            "2001-09-09 01:46:40.000001 received message 1151\n"
            "2001-09-09 01:46:41.000020 trace TRACE:Got an entry update message\n"
            "2001-09-09 01:46:42.000300 error ERROR: a\\x07b\n"
            "2001-09-09 01:46:43.999999 sent message 0\n");
  EXPECT_EQ(veskctl(dir, {"history", "-n", "1"}).out,
            "2001-09-09 01:46:43.999999 sent message 0\n");
  EXPECT_EQ(veskctl(dir, {"history", "-n", "9"}).out, end.out);
  EXPECT_EQ(service.requests()[0].header.opcode, 60002u);
}

// U+009B begins a control sequence as ESC [ does, U+202E turns the direction of writing.
TEST(History, leaves_the_terminal_unharmed) {
  setenv("TZ", "UTC", 1);
  const run_dir dir;
  const fake_service service(dir, answer_always(event(1000000000, 1, 101, 0,
                                                      "a \xC2\x9B"
                                                      "31m\xE2\x80\xAE \x1B[2J \xFF \xC3\xA9\n")));
  EXPECT_EQ(veskctl(dir, {"history"}).out,
            "2001-09-09 01:46:40.000001 error a \\x9b31m\\u202e \\e[2J \\xff \xC3\xA9\n");
}

TEST(History, shows_no_fraction_where_there_is_none) {
  setenv("TZ", "UTC", 1);
  const run_dir dir;
  const fake_service service(dir, answer_always(event(1000000000, 1000001, 4, 0, "")));
  EXPECT_EQ(veskctl(dir, {"history"}).out, "2001-09-09 01:46:40+1000001us sent message 0\n");
}

TEST(History, that_is_cut_short_is_not_believed) {
  const run_dir dir;
  const std::string whole = event(1, 1, 100, 0, "four");
  for (const size_t length : {size_t{15}, size_t{16}, size_t{19}}) {
    const fake_service service(dir, answer_always(whole.substr(0, length)));
    const ended end = veskctl(dir, {"history"});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.out, "");
    expect_one_line(end.err);
  }
}

// The sockets in the listeners' directory.
std::vector<std::string> listeners(const run_dir &dir) {
  std::vector<std::string> paths;
  for (const auto &file : std::filesystem::directory_iterator(dir.path() + "/listeners")) {
    paths.push_back(file.path());
  }
  return paths;
}

// A run directory with a monitor that gets messages from a stand-in for the daemon.
class MonitorOutput : public Test {
 protected:
  MonitorOutput() : service_(dir_, silence) {
    setenv("TZ", "UTC", 1);
    std::filesystem::create_directory(dir_.path() + "/listeners");
  }

  // Waits until the monitor listens.
  bool listening() {
    return eventually([this] {
      const auto paths = listeners(dir_);
      struct stat st {};
      return !paths.empty() && stat(paths[0].c_str(), &st) == 0 && (st.st_mode & 0777) == 0666;
    });
  }

  void tell(uint32_t opcode, const std::string &payload, uint32_t magic = 0x5645534B) {
    request listener;
    listener.from.sun_family = AF_UNIX;
    listeners(dir_).at(0).copy(listener.from.sun_path, sizeof listener.from.sun_path - 1);
    listener.from_length = sizeof listener.from;
    service_.send(listener, reply_to(listener, 0, payload, [&](vesk_wire_header &header) {
                    header.opcode = opcode;
                    header.magic = magic;
                  }));
  }

  run_dir dir_;
  fake_service service_;
};

std::string exception_report() {
  std::string report(330, '\0');
  report.replace(0, 4, word(0x40C90000));
  report[6] = 1;
  report.replace(7, 4, word(0x40C90000));
  report[11] = 'a';
  report.replace(24, 4, word(293));
  const std::string text = "Not able to mount filesystem on KYTE flash";
  report.replace(28, text.size(), text);
  report.replace(161, 8, std::string("\x3B\x9A\xCA\x00\x00\x00\x00\x05", 8));
  return report;
}

TEST_F(MonitorOutput, prints_what_the_daemon_tells) {
  program monitor({"veskctl", "monitor", "--count", "4", "--timeout", "10"}, in(dir_));
  ASSERT_TRUE(listening());
  tell(1156, "");
  tell(1156, "", 0x12345678);  // nobody's message
  EXPECT_NE(monitor.out("\n"), "") << "lines come as messages do";
  tell(7000, exception_report());
  tell(7000, "short");
  tell(9, "xyz");
  const ended end = monitor.wait();
  EXPECT_EQ(end.status, 0) << end.err;
  EXPECT_EQ(end.out.rfind("UP 20", 0), 0u) << end.out;
  EXPECT_TRUE(contains(end.out,
                       " code 0x40c90000 severity 1 identity 293 at 2001-09-09 01:46:40.000005: "
                       "Not able to mount filesystem on KYTE flash\n"))
      << end.out;
  EXPECT_TRUE(contains(end.out, "cut short: 5 bytes\n")) << end.out;
  EXPECT_TRUE(contains(end.out, " opcode 9, 3 bytes\n")) << end.out;
  EXPECT_EQ(std::count(end.out.begin(), end.out.end(), '\n'), 4) << end.out;
  EXPECT_TRUE(listeners(dir_).empty());
}

TEST_F(MonitorOutput, removes_its_socket_when_it_is_stopped) {
  for (const int signo : {SIGINT, SIGTERM}) {
    program monitor({"veskctl", "monitor"}, in(dir_));
    ASSERT_TRUE(listening());
    EXPECT_EQ(monitor.stop(signo).status, 0);
    EXPECT_TRUE(listeners(dir_).empty());
  }
}

TEST_F(MonitorOutput, ends_when_time_is_up) {
  EXPECT_EQ(veskctl(dir_, {"monitor", "--timeout", "0.05"}).status, 0);
  const ended end = veskctl(dir_, {"monitor", "--timeout", "0.05", "--count", "1"});
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.err, "veskctl: ended after 0 of 1 messages\n");
  EXPECT_TRUE(listeners(dir_).empty());
}

TEST(Monitor, needs_a_directory_of_listeners) {
  const run_dir dir;
  const ended end = veskctl(dir, {"monitor"});
  EXPECT_EQ(end.status, 1);
  EXPECT_TRUE(contains(end.err, "its directory does not exist: is vesk_sup running?")) << end.err;
  expect_one_line(end.err);
}

}  // namespace
}  // namespace vesk::test
