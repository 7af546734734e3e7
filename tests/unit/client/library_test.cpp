// The sender's library against a stand-in for the daemon.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <set>

#include "client/vesk_client.h"
#include "tests/support/fake_service.h"
#include "tests/support/poll.h"
#include "tests/support/without_override.h"
#include "tests/unit/client/from_c.h"

namespace vesk::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr uint32_t short_wait = 50;  // for what never comes
constexpr uint32_t long_wait = 5000;

struct closer {
  void operator()(vesk_client *client) const { vesk_client_close(client); }
};
using handle = std::unique_ptr<vesk_client, closer>;

handle open_at(const run_dir &dir, uint32_t timeout_ms = long_wait) {
  vesk_client *client = nullptr;
  EXPECT_EQ(vesk_client_open(&client, dir.path().c_str(), timeout_ms), VESK_CLIENT_OK);
  return handle(client);
}

vesk_client_record record_of(const std::string &data, uint8_t sync = VESK_CLIENT_SYNC_ANSWER) {
  vesk_client_record record{};
  record.file_type = 5;
  record.uuid = 293;
  record.type = 1025;
  record.sync = sync;
  record.data = data.data();
  record.length = data.size();
  return record;
}

// What logging one record comes to when the service behaves like this.
vesk_client_code log_against(fake_service::behaviour behaviour, uint32_t timeout_ms = long_wait) {
  const run_dir dir;
  const fake_service service(dir, std::move(behaviour));
  const std::string data = "x";
  const vesk_client_record record = record_of(data);
  return vesk_client_log(open_at(dir, timeout_ms).get(), &record);
}

// Waits until the service has seen this many requests.
std::vector<request> wait_for(const fake_service &service, size_t count) {
  eventually([&] { return service.requests().size() >= count; });
  return service.requests();
}

TEST(Log, sends_the_record_to_the_byte) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  const std::string data = "hello";
  vesk_client_record record = record_of(data, VESK_CLIENT_SYNC_FLASH);
  record.flags = 0xA5;
  record.update = 1;
  record.instance = 0x01020304;
  record.secs = 0x11223344;
  record.usecs = 0x000F423F;
  ASSERT_EQ(vesk_client_log(open_at(dir).get(), &record), VESK_CLIENT_OK);

  const auto seen = service.requests();
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].header.magic, 0x5645534Bu);
  EXPECT_EQ(seen[0].header.version, 1);
  EXPECT_EQ(seen[0].header.reserved, 0);
  EXPECT_EQ(seen[0].header.opcode, 1151u);
  EXPECT_EQ(seen[0].header.length, 29u);
  const std::string expected(
      "\x01\x25\x04\x01\x00\x05\xA5\x01"
      "\x11\x22\x33\x44\x00\x0F\x42\x3F"
      "\x00\x05\x02\x00\x01\x02\x03\x04"
      "hello",
      29);
  EXPECT_EQ(seen[0].payload, expected);
}

TEST(Log, takes_the_largest_record) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  const std::string data(65532, 'z');
  vesk_client_record record = record_of(data);
  record.allow_large = 1;
  ASSERT_EQ(vesk_client_log(open_at(dir).get(), &record), VESK_CLIENT_OK);
  EXPECT_EQ(service.requests().at(0).payload.size(), 24u + 65532u);
}

TEST(Log, stamps_a_record_without_time) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  const std::string data = "x";
  const vesk_client_record record = record_of(data);
  const auto before = static_cast<uint32_t>(time(nullptr));
  ASSERT_EQ(vesk_client_log(open_at(dir).get(), &record), VESK_CLIENT_OK);
  const std::string payload = service.requests().at(0).payload;
  uint32_t secs = 0;
  for (size_t i = 8; i < 12; ++i) secs = secs << 8 | static_cast<uint8_t>(payload[i]);
  EXPECT_GE(secs, before);
  EXPECT_LE(secs, before + 60);
}

TEST(Log, asks_for_a_receipt_only_when_it_waits) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  const handle client = open_at(dir);
  const std::string data = "x";
  for (const uint8_t sync : {uint8_t{0}, uint8_t{1}, uint8_t{2}}) {
    const vesk_client_record record = record_of(data, sync);
    ASSERT_EQ(vesk_client_log(client.get(), &record), VESK_CLIENT_OK);
  }
  const auto seen = wait_for(service, 3);
  ASSERT_EQ(seen.size(), 3u);
  EXPECT_EQ(seen[0].header.flags, 0);
  EXPECT_EQ(seen[1].header.flags, 1);
  EXPECT_EQ(seen[2].header.flags, 1);
}

TEST(Log, without_answer_does_not_wait) {
  const run_dir dir;
  const fake_service service(dir, silence);
  const std::string data = "x";
  const vesk_client_record record = record_of(data, VESK_CLIENT_SYNC_NONE);
  const auto start = steady_clock::now();
  EXPECT_EQ(vesk_client_log(open_at(dir).get(), &record), VESK_CLIENT_OK);
  EXPECT_LT(steady_clock::now() - start, milliseconds(long_wait));
}

TEST(Log, tells_the_daemons_words) {
  EXPECT_EQ(log_against(answer_always(word(1))), VESK_CLIENT_OK);
  EXPECT_EQ(log_against(answer_always(word(0))), VESK_CLIENT_REFUSED);
  EXPECT_EQ(log_against(receipt_always), VESK_CLIENT_UNANSWERED);
  EXPECT_EQ(log_against(answer_always(word(2))), VESK_CLIENT_BAD_ANSWER);
  EXPECT_EQ(log_against(answer_always("\x01")), VESK_CLIENT_BAD_ANSWER);
  EXPECT_EQ(log_against(answer_always(word(1) + "x")), VESK_CLIENT_BAD_ANSWER);
}

TEST(Log, tells_the_hosts_refusals) {
  EXPECT_EQ(log_against(refuse_always(1)), VESK_CLIENT_HOST_BAD_VERSION);
  EXPECT_EQ(log_against(refuse_always(2)), VESK_CLIENT_HOST_BAD_LENGTH);
  EXPECT_EQ(log_against(refuse_always(3)), VESK_CLIENT_HOST_NOT_PERMITTED);
  EXPECT_EQ(log_against(refuse_always(4)), VESK_CLIENT_HOST_BAD_REQUEST);
  EXPECT_EQ(log_against(refuse_always(99)), VESK_CLIENT_HOST_REFUSED);
  EXPECT_EQ(log_against([](const fake_service &service, const request &to) {
              service.send(to, reply_to(to, VESK_WIRE_REFUSED, "?"));
            }),
            VESK_CLIENT_HOST_REFUSED);
}

// A later version may have another header behind the first eight bytes.
TEST(Log, understands_a_refusal_of_another_version) {
  EXPECT_EQ(log_against([](const fake_service &service, const request &to) {
              const auto later = [](vesk_wire_header &header) { header.version = 2; };
              service.send(to, reply_to(to, VESK_WIRE_REFUSED, "", later).substr(0, 8));
            }),
            VESK_CLIENT_HOST_BAD_VERSION);
}

TEST(Log, times_out_when_nobody_answers) {
  const auto start = steady_clock::now();
  EXPECT_EQ(log_against(silence, short_wait), VESK_CLIENT_TIMED_OUT);
  EXPECT_GE(steady_clock::now() - start, milliseconds(short_wait));
  EXPECT_LT(steady_clock::now() - start, milliseconds(2000));
}

struct lie {
  const char *name;
  std::function<std::string(const request &)> datagram;
};

std::vector<lie> lies() {
  const auto spoilt = [](const std::function<void(vesk_wire_header &)> &change) {
    return [change](const request &to) { return reply_to(to, VESK_WIRE_ANSWER, word(0), change); };
  };
  return {
      {"wrong sequence", spoilt([](auto &h) { ++h.sequence; })},
      {"earlier sequence", spoilt([](auto &h) { --h.sequence; })},
      {"wrong magic", spoilt([](auto &h) { h.magic ^= 1; })},
      {"wrong version", spoilt([](auto &h) { h.version = 2; })},
      {"no kind", spoilt([](auto &h) { h.flags = 0; })},
      {"two kinds", spoilt([](auto &h) { h.flags = VESK_WIRE_ANSWER | VESK_WIRE_RECEIPT; })},
      {"a request", spoilt([](auto &h) { h.flags = VESK_WIRE_WANT_RECEIPT; })},
      {"length too large", spoilt([](auto &h) { ++h.length; })},
      {"length too small", spoilt([](auto &h) { --h.length; })},
      {"nothing", [](const request &) { return std::string(); }},
      {"seven bytes", [](const request &to) { return reply_to(to, 0x100, "").substr(0, 7); }},
      {"half a header", [](const request &to) { return reply_to(to, 0x100, "").substr(0, 12); }},
      {"longer than any message",
       [](const request &to) { return reply_to(to, 0x100, std::string(65560, 'x')); }},
  };
}

TEST(Log, does_not_believe_what_is_not_its_answer) {
  for (const lie &l : lies()) {
    SCOPED_TRACE(l.name);
    EXPECT_EQ(log_against([&](const fake_service &service,
                              const request &to) { service.send(to, l.datagram(to)); },
                          short_wait),
              VESK_CLIENT_TIMED_OUT);
    EXPECT_EQ(log_against([&](const fake_service &service, const request &to) {
                service.send(to, l.datagram(to));
                service.answer(to, word(1));
              }),
              VESK_CLIENT_OK);
  }
}

TEST(Log, skips_the_late_answer_to_an_earlier_request) {
  const run_dir dir;
  request first;
  const fake_service service(dir, [&](const fake_service &s, const request &to) {
    if (first.from_length == 0) {
      first = to;
      return;
    }
    s.answer(first, word(0));
    s.answer(to, word(1));
  });
  const handle client = open_at(dir, 200);
  const std::string data = "x";
  const vesk_client_record record = record_of(data);
  EXPECT_EQ(vesk_client_log(client.get(), &record), VESK_CLIENT_TIMED_OUT);
  EXPECT_EQ(vesk_client_log(client.get(), &record), VESK_CLIENT_OK);
}

TEST(Log, is_not_held_by_a_flood_of_strange_messages) {
  std::atomic<bool> over = false;
  std::thread flood;
  const auto start = steady_clock::now();
  const auto behaviour = [&](const fake_service &service, const request &to) {
    flood = std::thread([&service, &over, to] {
      const auto strange = reply_to(to, VESK_WIRE_ANSWER, word(1), [](auto &h) { ++h.sequence; });
      while (!over) service.send(to, strange);
    });
  };
  const run_dir dir;
  const fake_service service(dir, behaviour);
  const std::string data = "x";
  const vesk_client_record record = record_of(data);
  EXPECT_EQ(vesk_client_log(open_at(dir, short_wait).get(), &record), VESK_CLIENT_TIMED_OUT);
  EXPECT_LT(steady_clock::now() - start, milliseconds(2000));
  over = true;
  flood.join();
}

constexpr uint32_t somebody = 65534;

// Whether the kernel lets the service speak for another user, and what came of it.
struct stranger_result {
  bool possible = false;
  vesk_client_code code = VESK_CLIENT_SYSTEM;
};

stranger_result log_with_answer_from_somebody(bool owns_access_point) {
  const run_dir dir;
  std::atomic<bool> possible = false;
  const fake_service service(dir, [&](const fake_service &s, const request &to) {
    possible = s.send_as(somebody, to, reply_to(to, VESK_WIRE_ANSWER, word(1)));
  });
  if (owns_access_point && chown(dir.socket_path().c_str(), somebody, somebody) != 0) return {};
  const std::string data = "x";
  const vesk_client_record record = record_of(data);
  const vesk_client_code code = vesk_client_log(open_at(dir, 200).get(), &record);
  return {possible, code};
}

TEST(Log, believes_only_root_and_the_owner_of_the_access_point) {
  const stranger_result stranger = log_with_answer_from_somebody(false);
  if (!stranger.possible) GTEST_SKIP() << "this user namespace has no second user";
  EXPECT_EQ(stranger.code, VESK_CLIENT_TIMED_OUT);
  EXPECT_EQ(log_with_answer_from_somebody(true).code, VESK_CLIENT_OK);
}

TEST(Log, says_that_there_is_no_daemon) {
  const run_dir dir;
  const handle client = open_at(dir);
  const std::string data = "x";
  for (const uint8_t sync : {uint8_t{0}, uint8_t{1}}) {
    const vesk_client_record record = record_of(data, sync);
    EXPECT_EQ(vesk_client_log(client.get(), &record), VESK_CLIENT_NO_DAEMON) << "no socket";
  }
  close(bind_access_point(dir));
  const vesk_client_record record = record_of(data);
  EXPECT_EQ(vesk_client_log(client.get(), &record), VESK_CLIENT_NO_DAEMON) << "a dead one's socket";
}

TEST(Log, says_that_the_socket_is_forbidden) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  const handle client = open_at(dir);
  const std::string data = "x";
  const vesk_client_record record = record_of(data);
  ASSERT_EQ(chmod(dir.socket_path().c_str(), 0), 0);
  const without_override ordinary;
  EXPECT_EQ(vesk_client_log(client.get(), &record), VESK_CLIENT_NO_PERMISSION);
}

TEST(Log, outlives_a_restart_of_the_daemon) {
  const run_dir dir;
  const handle client = open_at(dir);
  const std::string data = "x";
  const vesk_client_record record = record_of(data);
  for (int life = 0; life < 2; ++life) {
    const fake_service service(dir, answer_always(word(1)));
    EXPECT_EQ(vesk_client_log(client.get(), &record), VESK_CLIENT_OK);
  }
}

// Fills the queue of an access point that nobody reads; returns the code that ended it.
vesk_client_code fill_queue(vesk_client *client) {
  const std::string data = "x";
  const vesk_client_record record = record_of(data, VESK_CLIENT_SYNC_NONE);
  auto code = VESK_CLIENT_OK;
  for (int i = 0; i < 100000 && code == VESK_CLIENT_OK; ++i) {
    code = vesk_client_log(client, &record);
  }
  return code;
}

TEST(Log, gives_up_on_a_full_queue) {
  const run_dir dir;
  const int fd = bind_access_point(dir);
  const auto start = steady_clock::now();
  EXPECT_EQ(fill_queue(open_at(dir, short_wait).get()), VESK_CLIENT_BUSY);
  EXPECT_GE(steady_clock::now() - start, milliseconds(short_wait));
  EXPECT_LT(steady_clock::now() - start, milliseconds(2000));
  close(fd);
}

TEST(Log, waits_for_room_in_a_full_queue) {
  const run_dir dir;
  const int fd = bind_access_point(dir);
  ASSERT_EQ(fill_queue(open_at(dir, 1).get()), VESK_CLIENT_BUSY);
  const std::string data = "x";
  const vesk_client_record record = record_of(data, VESK_CLIENT_SYNC_NONE);
  std::thread reader([fd] {
    usleep(30000);
    char buffer[100];
    recv(fd, buffer, sizeof buffer, 0);
  });
  EXPECT_EQ(vesk_client_log(open_at(dir).get(), &record), VESK_CLIENT_OK);
  reader.join();
  close(fd);
}

TEST(Log, refuses_before_sending_what_cannot_be_accepted) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  const handle client = open_at(dir);
  const std::string data(65533, 'x');
  const auto log_with = [&](const std::function<void(vesk_client_record &)> &change) {
    vesk_client_record record = record_of(data);
    record.length = 1;
    change(record);
    return vesk_client_log(client.get(), &record);
  };
  EXPECT_EQ(log_with([](auto &r) { r.file_type = 0; }), VESK_CLIENT_BAD_FILE_TYPE);
  EXPECT_EQ(log_with([](auto &r) { r.file_type = 39; }), VESK_CLIENT_BAD_FILE_TYPE);
  EXPECT_EQ(log_with([](auto &r) { r.file_type = 65536 + 5; }), VESK_CLIENT_BAD_FILE_TYPE);
  EXPECT_EQ(log_with([](auto &r) { r.uuid = 0; }), VESK_CLIENT_BAD_UUID);
  EXPECT_EQ(log_with([](auto &r) { r.uuid = 2737; }), VESK_CLIENT_BAD_UUID);
  EXPECT_EQ(log_with([](auto &r) { r.type = 1023; }), VESK_CLIENT_BAD_TYPE);
  EXPECT_EQ(log_with([](auto &r) { r.type = 65536; }), VESK_CLIENT_BAD_TYPE);
  EXPECT_EQ(log_with([](auto &r) { r.sync = 3; }), VESK_CLIENT_BAD_SYNC);
  EXPECT_EQ(log_with([](auto &r) { r.length = 0; }), VESK_CLIENT_EMPTY);
  EXPECT_EQ(log_with([](auto &r) { r.length = 65533; }), VESK_CLIENT_TOO_LONG);
  EXPECT_EQ(log_with([](auto &r) { r.length = 65536 + 5; }), VESK_CLIENT_TOO_LONG);
  EXPECT_EQ(log_with([](auto &r) { r.data = nullptr; }), VESK_CLIENT_BAD_ARGUMENT);
  EXPECT_EQ(vesk_client_log(client.get(), nullptr), VESK_CLIENT_BAD_ARGUMENT);
  EXPECT_TRUE(service.requests().empty());
  EXPECT_EQ(log_with([](auto &r) { r.uuid = 2736; }), VESK_CLIENT_OK);
  EXPECT_EQ(log_with([](auto &r) { r.type = 1024; }), VESK_CLIENT_OK);
  EXPECT_EQ(log_with([](auto &r) { r.type = 65535; }), VESK_CLIENT_OK);
  EXPECT_EQ(service.requests().size(), 3u);
}

TEST(Log, sends_only_to_files_that_there_are) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  const handle client = open_at(dir);
  const std::string data = "x";
  vesk_client_record record = record_of(data);
  const std::set<uint32_t> there = {1, 2, 3, 4, 5, 6, 7, 21, 22, 25, 29, 30, 33, 34, 35, 36};
  for (uint32_t type = 1; type <= 38; ++type) {
    record.file_type = type;
    EXPECT_EQ(vesk_client_log(client.get(), &record),
              there.contains(type) ? VESK_CLIENT_OK : VESK_CLIENT_NO_SUCH_FILE)
        << type;
  }
  EXPECT_EQ(service.requests().size(), 16u);
}

// The code with which a record of this length comes back, sent to this file.
struct sized_record {
  uint32_t file_type;
  size_t length;
  vesk_client_code code;
};

void expect_codes(uint8_t allow_large, const std::vector<sized_record> &records) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  const handle client = open_at(dir);
  const std::string data(65533, 'x');
  size_t sent = 0;
  for (const sized_record &sized : records) {
    vesk_client_record record = record_of(data);
    record.allow_large = allow_large;
    record.file_type = sized.file_type;
    record.length = sized.length;
    EXPECT_EQ(vesk_client_log(client.get(), &record), sized.code)
        << sized.length << " bytes for file type " << sized.file_type;
    sent += sized.code == VESK_CLIENT_OK;
  }
  EXPECT_EQ(service.requests().size(), sent);
}

TEST(Log, refuses_a_large_record) {
  expect_codes(0, {
                      {7, 4096, VESK_CLIENT_OK},  // 8 KiB
                      {7, 4097, VESK_CLIENT_LARGE},
                      {7, 8128, VESK_CLIENT_LARGE},
                      {7, 8129, VESK_CLIENT_TOO_LARGE_FOR_FILE},
                      {7, 65533, VESK_CLIENT_TOO_LONG},
                      {6, 65532, VESK_CLIENT_OK},   // 128 KiB
                      {21, 65532, VESK_CLIENT_OK},  // 8 MiB
                      {21, 65533, VESK_CLIENT_TOO_LONG},
                  });
}

TEST(Log, sends_a_large_record_that_is_meant) {
  expect_codes(1, {
                      {7, 4097, VESK_CLIENT_OK},
                      {7, 8128, VESK_CLIENT_OK},
                      {7, 8129, VESK_CLIENT_TOO_LARGE_FOR_FILE},
                      {6, 65532, VESK_CLIENT_OK},
                      {21, 65532, VESK_CLIENT_OK},
                      {21, 65533, VESK_CLIENT_TOO_LONG},
                  });
}

TEST(Log, survives_a_daemon_that_vanishes_under_it) {
  const run_dir dir;
  const handle client = open_at(dir, 200);
  const std::string data = "x";
  const vesk_client_record record = record_of(data);
  std::atomic<bool> taken = false;
  auto service = std::make_unique<fake_service>(
      dir, [&](const fake_service &, const request &) { taken = true; });
  std::thread end([&] {
    while (!taken) usleep(1000);
    service.reset();
  });
  EXPECT_EQ(vesk_client_log(client.get(), &record), VESK_CLIENT_TIMED_OUT);
  end.join();
  EXPECT_EQ(vesk_client_log(client.get(), &record), VESK_CLIENT_NO_DAEMON);
}

TEST(Update, names_the_entry_to_replace) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  const handle client = open_at(dir);
  const std::string data = "new";
  const vesk_client_record record = record_of(data);
  ASSERT_EQ(vesk_client_update(client.get(), &record, 3), VESK_CLIENT_OK);
  const std::string payload = service.requests().at(0).payload;
  EXPECT_EQ(payload[7], 1);
  EXPECT_EQ(payload.substr(20), std::string("\0\0\0\3new", 7));
  EXPECT_EQ(record.update, 0);

  const std::string large(4097, 'x');
  vesk_client_record refused = record_of(large);
  refused.file_type = 7;
  EXPECT_EQ(vesk_client_update(client.get(), &refused, 0), VESK_CLIENT_LARGE);
  EXPECT_EQ(vesk_client_update(client.get(), nullptr, 0), VESK_CLIENT_BAD_ARGUMENT);
  EXPECT_EQ(vesk_client_update(nullptr, &record, 0), VESK_CLIENT_BAD_ARGUMENT);
  EXPECT_EQ(service.requests().size(), 1u);
}

TEST(Request, gives_back_the_answer) {
  const run_dir dir;
  const fake_service service(dir, answer_always("eight by"));
  const handle client = open_at(dir);
  char answer[8];
  size_t length = 0;
  ASSERT_EQ(vesk_client_request(client.get(), 1153, "\1\0\5\0", 4, answer, sizeof answer, &length),
            VESK_CLIENT_OK);
  EXPECT_EQ(std::string(answer, length), "eight by");
  const request seen = service.requests().at(0);
  EXPECT_EQ(seen.header.opcode, 1153u);
  EXPECT_EQ(seen.header.flags, 1);
  EXPECT_EQ(seen.payload, std::string("\1\0\5\0", 4));
}

TEST(Request, does_not_cut_an_answer) {
  const run_dir dir;
  const fake_service service(dir, answer_always("eight by"));
  char answer[7] = {};
  size_t length = 99;
  EXPECT_EQ(vesk_client_request(open_at(dir).get(), 1153, nullptr, 0, answer, 7, &length),
            VESK_CLIENT_BAD_ANSWER);
  EXPECT_EQ(length, 99u);
  EXPECT_EQ(answer[0], '\0');
}

TEST(Request, gives_back_an_answer_as_large_as_a_message_may_be) {
  const run_dir dir;
  const std::string large(65559, 'h');
  const fake_service service(dir, answer_always(large));
  std::string answer(65559, '\0');
  size_t length = 0;
  ASSERT_EQ(vesk_client_request(open_at(dir).get(), 60002, nullptr, 0, answer.data(), answer.size(),
                                &length),
            VESK_CLIENT_OK);
  EXPECT_EQ(length, 65559u);
  EXPECT_EQ(answer, large);
}

TEST(Request, tells_a_receipt_from_an_answer) {
  const run_dir dir;
  const fake_service service(dir, receipt_always);
  const handle client = open_at(dir);
  size_t length = 0;
  EXPECT_EQ(vesk_client_request(client.get(), 1153, nullptr, 0, nullptr, 0, &length),
            VESK_CLIENT_UNANSWERED);
  EXPECT_EQ(vesk_client_confirm(client.get(), 1155, "x", 1), VESK_CLIENT_OK);
}

TEST(Request, is_confirmed_by_an_answer_too) {
  const run_dir dir;
  const fake_service service(dir, answer_always(""));
  EXPECT_EQ(vesk_client_confirm(open_at(dir).get(), 1155, "x", 1), VESK_CLIENT_OK);
}

TEST(Request, is_sent_without_waiting) {
  const run_dir dir;
  const fake_service service(dir, silence);
  EXPECT_EQ(vesk_client_send(open_at(dir).get(), 1162, "abc", 3), VESK_CLIENT_OK);
  const auto seen = wait_for(service, 1);
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].header.opcode, 1162u);
  EXPECT_EQ(seen[0].header.flags, 0);
  EXPECT_EQ(seen[0].payload, "abc");
}

TEST(Request, refuses_bad_arguments) {
  const run_dir dir;
  const fake_service service(dir, answer_always(""));
  const handle client = open_at(dir);
  const std::string large(65560, 'x');
  size_t length = 0;
  EXPECT_EQ(vesk_client_send(nullptr, 1162, "x", 1), VESK_CLIENT_BAD_ARGUMENT);
  EXPECT_EQ(vesk_client_send(client.get(), 1162, nullptr, 1), VESK_CLIENT_BAD_ARGUMENT);
  EXPECT_EQ(vesk_client_send(client.get(), 1162, large.data(), 65560), VESK_CLIENT_TOO_LONG);
  EXPECT_EQ(vesk_client_confirm(client.get(), 1162, large.data(), 65560), VESK_CLIENT_TOO_LONG);
  EXPECT_EQ(vesk_client_request(client.get(), 1, nullptr, 0, nullptr, 8, &length),
            VESK_CLIENT_BAD_ARGUMENT);
  EXPECT_EQ(vesk_client_request(client.get(), 1, nullptr, 0, nullptr, 0, nullptr),
            VESK_CLIENT_BAD_ARGUMENT);
  EXPECT_TRUE(service.requests().empty());
  EXPECT_EQ(vesk_client_send(client.get(), 1162, large.data(), 65559), VESK_CLIENT_OK);
}

TEST(Statistics, are_indexed_by_uuid) {
  std::string table(21896, '\0');
  table.replace(293 * 8, 8, word(3) + word(132));
  table.replace(2736 * 8, 8, word(1) + word(24));
  const run_dir dir;
  const fake_service service(dir, answer_always(table));
  std::vector<vesk_client_sender_statistics> rows(VESK_CLIENT_STATISTICS_ROWS);
  ASSERT_EQ(vesk_client_statistics(open_at(dir).get(), rows.data()), VESK_CLIENT_OK);
  EXPECT_EQ(service.requests().at(0).header.opcode, 1152u);
  EXPECT_EQ(rows[293].entry_count, 3u);
  EXPECT_EQ(rows[293].byte_count, 132u);
  EXPECT_EQ(rows[2736].entry_count, 1u);
  EXPECT_EQ(rows[2736].byte_count, 24u);
  EXPECT_EQ(rows[0].entry_count, 0u);
}

TEST(Statistics, of_another_size_are_not_believed) {
  std::vector<vesk_client_sender_statistics> rows(VESK_CLIENT_STATISTICS_ROWS);
  for (const size_t size : {size_t{21888}, size_t{21904}, size_t{0}}) {
    const run_dir dir;
    const fake_service service(dir, answer_always(std::string(size, '\1')));
    EXPECT_EQ(vesk_client_statistics(open_at(dir).get(), rows.data()), VESK_CLIENT_BAD_ANSWER);
    EXPECT_EQ(rows[1].entry_count, 0u);
  }
  const run_dir dir;
  const fake_service service(dir, receipt_always);
  EXPECT_EQ(vesk_client_statistics(open_at(dir).get(), rows.data()), VESK_CLIENT_UNANSWERED);
  EXPECT_EQ(vesk_client_statistics(open_at(dir).get(), nullptr), VESK_CLIENT_BAD_ARGUMENT);
}

TEST(Open, finds_the_run_directory) {
  unsetenv("VESK_RUN_DIR");
  EXPECT_STREQ(vesk_client_run_dir(nullptr), "/run/vesk");
  EXPECT_STREQ(vesk_client_run_dir("/elsewhere"), "/elsewhere");
  setenv("VESK_RUN_DIR", "", 1);
  EXPECT_STREQ(vesk_client_run_dir(nullptr), "/run/vesk");
  setenv("VESK_RUN_DIR", "/from/the/environment", 1);
  EXPECT_STREQ(vesk_client_run_dir(nullptr), "/from/the/environment");
  EXPECT_STREQ(vesk_client_run_dir("/elsewhere"), "/elsewhere");

  vesk_client *client = nullptr;
  ASSERT_EQ(vesk_client_open(&client, nullptr, 1), VESK_CLIENT_OK);
  EXPECT_STREQ(vesk_client_address(client), "/from/the/environment/sap-1016");
  vesk_client_close(client);
  unsetenv("VESK_RUN_DIR");
}

TEST(Open, refuses_a_run_directory_that_no_socket_can_have) {
  vesk_client *client = nullptr;
  EXPECT_EQ(vesk_client_open(&client, "", 1), VESK_CLIENT_BAD_RUN_DIR);
  EXPECT_EQ(client, nullptr);
  // An address holds 107 characters and its end; "/sap-1016" takes nine.
  EXPECT_EQ(vesk_client_open(&client, std::string(99, 'd').c_str(), 1), VESK_CLIENT_BAD_RUN_DIR);
  EXPECT_EQ(client, nullptr);
  EXPECT_EQ(vesk_client_open(&client, std::string(98, 'd').c_str(), 1), VESK_CLIENT_OK);
  vesk_client_close(client);
  EXPECT_EQ(vesk_client_open(nullptr, "/run/vesk", 1), VESK_CLIENT_BAD_ARGUMENT);
  vesk_client_close(nullptr);
  EXPECT_STREQ(vesk_client_address(nullptr), "");
}

TEST(Threads, may_each_use_a_handle) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  std::atomic<int> accepted = 0;
  const auto work = [&] {
    const handle client = open_at(dir);
    const std::string data = "x";
    const vesk_client_record record = record_of(data);
    for (int i = 0; i < 100; ++i) accepted += vesk_client_log(client.get(), &record) == 0;
  };
  std::thread threads[] = {std::thread(work), std::thread(work), std::thread(work)};
  for (auto &t : threads) t.join();
  EXPECT_EQ(accepted, 300);
}

TEST(ErrorText, tells_every_code_apart) {
  const auto text_of = [](int code) {
    return std::string(vesk_client_error_text(static_cast<vesk_client_code>(code)));
  };
  const std::string unknown = text_of(63);
  std::set<std::string> texts;
  for (int code = 0; code < 63; ++code) {
    const std::string text = text_of(code);
    EXPECT_FALSE(text.empty());
    EXPECT_TRUE(text == unknown || texts.insert(text).second) << text;
  }
  EXPECT_EQ(texts.size(), 25u);
}

TEST(FromC, logs_a_record) {
  const run_dir dir;
  EXPECT_EQ(vesk_test_from_c(dir.path().c_str()), VESK_CLIENT_NO_DAEMON);
  const fake_service service(dir, answer_always(word(1)));
  EXPECT_EQ(vesk_test_from_c(dir.path().c_str()), VESK_CLIENT_OK);
  EXPECT_EQ(service.requests().at(0).payload.substr(24), "logged from C");
}

}  // namespace
}  // namespace vesk::test
