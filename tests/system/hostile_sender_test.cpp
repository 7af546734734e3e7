// Senders that mean harm: the others are served all the same, and the daemon takes no more memory,
// descriptors or log for it.
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/poll.h"
#include "tests/support/process.h"
#include "tests/support/process_usage.h"
#include "tests/support/running_daemon.h"
#include "tests/system/crowd.h"

namespace vesk::test {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr char socket_path[] = "/run/vesk/sap-1016";
constexpr uint32_t own_records = 300;     // of the sender that means no harm
constexpr uint32_t hostile_least = 3000;  // datagrams that reach the daemon before a test is over

// --- what a hostile sender does, once
// ----------------------------------------------------------------

void ask_and_never_read() {
  static wire_socket deaf;
  deaf.send(1152, {});
  deaf.send(1151, good_record("nobody waits for the answer", 1).bytes());
}

void send_rubbish() {
  static wire_socket own;
  own.send_raw(std::vector<uint8_t>(100, 0x4B));
  own.send_raw({});
}

void send_refused() {
  static wire_socket own;
  vesk_wire_header header = header_for(1151, 0, 1);
  header.flags = VESK_WIRE_WANT_RECEIPT;
  header.version = 9;
  own.send_raw(message(header, {}));
}

void lie_about_lengths() {
  static wire_socket own;
  static const std::vector<uint8_t> largest(60000, 0x41);
  vesk_wire_header header = header_for(1151, 0, 1);
  header.length = 0xFFFFFFFF;
  own.send_raw(message(header, {}));
  header.length = 1;
  own.send_raw(message(header, largest));
  std::vector<uint8_t> cut = message(header, {});
  cut.resize(20);
  own.send_raw(cut);
}

void answer_the_daemon() {
  static wire_socket own;
  own.send(1153, half_words({3, 0}), VESK_WIRE_ANSWER | VESK_WIRE_WANT_RECEIPT);
}

void log_without_end() {
  static wire_socket own;
  own.send(1151, record({.len = 2000, .file_type = 21}).bytes(), 0);
}

void ask_and_vanish() {
  wire_socket own;
  own.send(1152, {});
}

void ask_from_a_thousand_sockets_at_once() {
  static const bool many = [] {
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    return setrlimit(RLIMIT_NOFILE, &files) == 0 && files.rlim_cur > 1100;
  }();
  std::vector<std::unique_ptr<wire_socket>> sockets;
  for (int i = 0; i < (many ? 1000 : 500); ++i) sockets.push_back(std::make_unique<wire_socket>());
  for (const auto &deaf : sockets) deaf->send(1152, {});
}

void leave_descriptors() {
  static const int own = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  constexpr size_t count = 250;  // the kernel takes 253 with one message
  std::array<int, count> given{};
  given.fill(STDERR_FILENO);
  std::vector<uint8_t> bytes = message(header_for(1162, 0, 1), {});
  sockaddr_un daemon{};
  daemon.sun_family = AF_UNIX;
  std::strcpy(daemon.sun_path, socket_path);
  iovec part = {bytes.data(), bytes.size()};
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof given)> control{};
  msghdr datagram{};
  datagram.msg_name = &daemon;
  datagram.msg_namelen = sizeof daemon;
  datagram.msg_iov = &part;
  datagram.msg_iovlen = 1;
  datagram.msg_control = control.data();
  datagram.msg_controllen = control.size();
  cmsghdr *rights = CMSG_FIRSTHDR(&datagram);
  rights->cmsg_level = SOL_SOCKET;
  rights->cmsg_type = SCM_RIGHTS;
  rights->cmsg_len = CMSG_LEN(sizeof given);
  std::memcpy(CMSG_DATA(rights), given.data(), sizeof given);
  sendmsg(own, &datagram, 0);
}

void try_everything_as_nobody() {
  static const bool nobody = setgroups(0, nullptr) == 0 && setgid(65534) == 0 && setuid(65534) == 0;
  if (!nobody) _exit(99);
  static wire_socket own;
  for (const uint32_t opcode : {1153U, 1155U, 1158U, 6024U, 60001U, 60002U, 60003U}) {
    own.send(opcode, half_words({2, 0}));
  }
}

// --- what must come of it
// ----------------------------------------------------------------------------

struct hostility {
  const char *name;
  void (*once)();
  bool as_nobody = false;
};

void PrintTo(const hostility &how, std::ostream *out) {
  *out << how.name;
}

uint64_t number_at(const reply &status, size_t offset) {
  uint64_t value = 0;
  std::memcpy(&value, status.payload.data() + offset, sizeof value);
  return value;
}

class HostileSenders : public daemon_test, public ::testing::WithParamInterface<hostility> {
 protected:
  // Every buffer of the daemon was in use once, so that what grows from now on goes on growing.
  void warm_up() {
    ASSERT_TRUE(stores(sender, {{.len = 60000, .file_type = 4, .sync = 1}}));
    ASSERT_EQ(sender.request(1152, {}).payload.size(), 21896u);
    const auto deadline = steady_clock::now() + 300ms;
    while (steady_clock::now() < deadline) GetParam().once();
  }

  // All datagrams that the daemon has taken off its queue: accepted, refused and dropped ones.
  uint64_t datagrams_seen() {
    const reply status = sender.request(60004, {});
    uint64_t sum = 0;
    for (size_t offset = 16; offset <= 64; offset += 8) sum += number_at(status, offset);
    return sum;
  }

  size_t lines_printed() const { return lines_of(daemon.printed()).size(); }
};

TEST_P(HostileSenders, harm_nobody) {
  const hostility &how = GetParam();
  if (how.as_nobody && !other_users()) {
    GTEST_SKIP() << "this private root knows only one user id; it needs to be entered as root";
  }
  if (how.as_nobody) {
    ASSERT_EQ(chmod(socket_path, 0666), 0);
  } else {
    ASSERT_NO_FATAL_FAILURE(warm_up());
  }
  // Answered once all that came before is done, so that no log file is open any more.
  ASSERT_EQ(sender.request(1152, {}).payload.size(), 21896u);
  const auto before = usage_of(daemon.process());
  const size_t lines_before = lines_printed();
  const uint64_t seen_before = datagrams_seen();
  const auto began = steady_clock::now();

  crowd enemies;
  enemies.add(3, how.once);
  std::vector<std::string> sent;
  // Each is answered within the ten seconds that the socket waits.
  for (uint32_t i = 0; i < own_records || datagrams_seen() - seen_before < hostile_least; ++i) {
    ASSERT_LT(steady_clock::now() - began, 60s) << "the enemies do not get through";
    sent.push_back("record " + std::to_string(i));
    ASSERT_TRUE(stores(sender, good_record(sent.back()))) << sent.back();
  }
  EXPECT_TRUE(enemies.send_away()) << "one of them had given up";

  const auto seconds = std::chrono::ceil<std::chrono::seconds>(steady_clock::now() - began);
  EXPECT_EQ(shown_data("vesk"), sent);
  EXPECT_EQ(sender.request(1152, {}).payload.size(), 21896u);
  // A line a second for each thing that can be wrong, and one for each file that was made.
  EXPECT_LE(lines_printed() - lines_before, 4u * static_cast<size_t>(seconds.count()) + 10)
      << daemon.printed().substr(0, 5000);
  const auto after = usage_of(daemon.process());
  if (!before || !after) return;  // a private root without /proc
  EXPECT_EQ(after->descriptors, before->descriptors);
  if (sanitized) return;  // a sanitizer takes memory of its own
  EXPECT_EQ(after->data_kib, before->data_kib);
  EXPECT_LE(after->resident_kib, before->resident_kib + 256);
}

INSTANTIATE_TEST_SUITE_P(all, HostileSenders,
                         ::testing::Values(hostility{"ask_and_never_read", ask_and_never_read},
                                           hostility{"send_rubbish", send_rubbish},
                                           hostility{"send_refused", send_refused},
                                           hostility{"lie_about_lengths", lie_about_lengths},
                                           hostility{"answer_the_daemon", answer_the_daemon},
                                           hostility{"log_without_end", log_without_end},
                                           hostility{"ask_and_vanish", ask_and_vanish},
                                           hostility{"ask_from_a_thousand_sockets_at_once",
                                                     ask_from_a_thousand_sockets_at_once},
                                           hostility{"leave_descriptors", leave_descriptors},
                                           hostility{"try_everything_as_nobody",
                                                     try_everything_as_nobody, true}),
                         [](const auto &of) { return of.param.name; });

// --- refused datagrams, one by one
// -------------------------------------------------------------------

constexpr std::array<uint16_t, 3> some_files{1, 5, 21};

using RefusedDatagrams = daemon_test;

// One at a time, so that the daemon wakes up for each and finds nothing else.
TEST_F(RefusedDatagrams, are_no_error_to_the_daemon) {
  vesk_wire_header header = header_for(1151, 0, 0);
  header.version = 9;
  for (uint32_t i = 1; i <= 200; ++i) {
    header.sequence = i;
    ASSERT_TRUE(sender.send_raw(message(header, {})));
    const reply got = sender.receive().value_or(reply{});
    ASSERT_EQ(got.header.sequence, i);
    ASSERT_EQ(got.header.flags, VESK_WIRE_REFUSED);
  }
  EXPECT_FALSE(sender.receive(50ms)) << "one answer each";
  EXPECT_FALSE(contains(daemon.printed(), "ipq_recv failed")) << daemon.printed();
  EXPECT_LE(lines_of(daemon.printed()).size(), 5u) << daemon.printed();
}

TEST_F(RefusedDatagrams, push_nothing_out_of_the_event_history) {
  ASSERT_TRUE(stores(sender, good_record("one")));
  const std::string before = run({"veskctl", "history"}).out;
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(sender.send_raw(std::vector<uint8_t>(10, 1)));
  ASSERT_NE(sender.request(1162, {}).header.flags, 0);
  const std::vector<std::string> after = lines_of(run({"veskctl", "history"}).out);
  // Only the two requests for the history and the message in front of the second are new.
  EXPECT_LE(after.size(), lines_of(before).size() + 4) << before;
}

// All that may come from somebody who can open the socket and is nobody: each opcode of a wide
// range, with a payload that would do harm.
TEST_F(RefusedDatagrams, of_an_ordinary_user_change_nothing) {
  if (!other_users()) {
    GTEST_SKIP() << "this private root knows only one user id; it needs to be entered as root";
  }
  for (const uint16_t file_type : some_files) {
    ASSERT_TRUE(stores(sender, good_record("of file " + std::to_string(file_type), file_type)));
  }
  const std::string file_before = contents_of("/mnt/vesk/kernel.log");
  ASSERT_EQ(chmod(socket_path, 0666), 0);
  const auto harm = [](uint32_t opcode) {
    switch (opcode) {
      case 1151:
        return std::vector<uint8_t>(24, 0);  // no file has type 0
      case 6024:
        return std::vector<uint8_t>{0, 0, 0, 3, 0, 0, 0, 3};  // the flash of this slot has failed
      default:
        return half_words({3, 0});  // clear everything; without traces from now on
    }
  };
  EXPECT_EQ(as_nobody([&] {
              wire_socket own;
              for (uint32_t opcode = 1100; opcode < 1200; ++opcode) {
                own.request(opcode, harm(opcode));
              }
              for (uint32_t opcode = 59990; opcode < 60010; ++opcode) {
                own.request(opcode, harm(opcode));
              }
              own.request(6024, harm(6024));
              return 0;
            }),
            0);
  EXPECT_EQ(contents_of("/mnt/vesk/kernel.log"), file_before);
  for (const uint16_t file_type : some_files) {
    EXPECT_TRUE(stores(sender, good_record("still enabled", file_type))) << file_type;
  }
  EXPECT_EQ(shown_data("vesk"), (std::vector<std::string>{"of file 5", "still enabled"}));
}

}  // namespace

}  // namespace vesk::test
