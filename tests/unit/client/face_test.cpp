// The library's C++ face against a stand-in for the daemon.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

#include "client/vesk_client.hpp"
#include "tests/support/fake_service.h"

namespace vesk::test {
namespace {

static_assert(!std::is_copy_constructible_v<log_client> && !std::is_copy_assignable_v<log_client>);
static_assert(std::is_nothrow_move_constructible_v<log_client> &&
              std::is_nothrow_move_assignable_v<log_client>);

constexpr record_head fan_tray = {.file_type = 25, .uuid = 551, .type = 1024};

log_client open_at(const run_dir &dir) {
  log_client client;
  EXPECT_EQ(client.open(5000, dir.path().c_str()), VESK_CLIENT_OK);
  return client;
}

TEST(Face, logs_text_and_bytes) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  log_client client = open_at(dir);
  record_head head = fan_tray;
  head.sync = VESK_CLIENT_SYNC_FLASH;
  head.flags = 0xA5;
  head.secs = 0x11223344;
  head.usecs = 0x000F423F;
  EXPECT_EQ(client.log(head, "fan"), VESK_CLIENT_OK);
  const std::vector<std::byte> bytes = {std::byte{0}, std::byte{255}};
  EXPECT_EQ(client.log(head, bytes), VESK_CLIENT_OK);
  const auto seen = service.requests();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].payload, std::string("\x02\x27\x04\x00\x00\x03\xA5\x00"
                                         "\x11\x22\x33\x44\x00\x0F\x42\x3F"
                                         "\x00\x19\x02\x00\x00\x00\x00\x00"
                                         "fan",
                                         27));
  EXPECT_EQ(seen[1].payload.substr(24), std::string("\0\xFF", 2));
}

TEST(Face, updates) {
  const run_dir dir;
  const fake_service service(dir, receipt_always);
  log_client client = open_at(dir);
  record_head head = fan_tray;
  head.sync = VESK_CLIENT_SYNC_ANSWER;
  EXPECT_EQ(client.update(head, "last"), VESK_CLIENT_UNANSWERED);
  EXPECT_EQ(client.update(head, "second", 2), VESK_CLIENT_UNANSWERED);
  const auto seen = service.requests();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].payload[7], 1);
  EXPECT_EQ(seen[0].payload.substr(20), std::string("\0\0\0\0last", 8));
  EXPECT_EQ(seen[1].payload[7], 1);
  EXPECT_EQ(seen[1].payload.substr(20), std::string("\0\0\0\2second", 10));
}

TEST(Face, allows_a_large_record_only_where_it_is_meant) {
  const run_dir dir;
  const fake_service service(dir, answer_always(word(1)));
  log_client client = open_at(dir);
  record_head head = {.file_type = 7, .uuid = 677, .type = 1024};
  head.sync = VESK_CLIENT_SYNC_ANSWER;
  const std::string text(4097, 'x');
  EXPECT_EQ(client.log(head, text), VESK_CLIENT_LARGE);
  head.allow_large = true;
  EXPECT_EQ(client.log(head, text), VESK_CLIENT_OK);
}

TEST(Face, sends_and_confirms) {
  const run_dir dir;
  const fake_service service(dir, receipt_always);
  log_client client = open_at(dir);
  const std::vector<std::byte> payload = {std::byte{'a'}};
  EXPECT_EQ(client.send(1162, payload), VESK_CLIENT_OK);
  EXPECT_EQ(client.confirm(1162, payload), VESK_CLIENT_OK);  // so both have come
  const auto seen = service.requests();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].header.flags, 0);
  EXPECT_EQ(seen[1].header.flags, 1);
  EXPECT_EQ(seen[1].payload, "a");
}

TEST(Face, gives_the_part_that_the_answer_takes) {
  const run_dir dir;
  const fake_service service(dir, answer_always("12345"));
  log_client client = open_at(dir);
  std::vector<std::byte> room(8);
  std::span<std::byte> answer;
  ASSERT_EQ(client.request(1153, {}, room, answer), VESK_CLIENT_OK);
  EXPECT_EQ(answer.data(), room.data());
  EXPECT_EQ(answer.size(), 5u);
  EXPECT_EQ(room[4], std::byte{'5'});
  EXPECT_EQ(client.request(1153, {}, std::span(room).first(4), answer), VESK_CLIENT_BAD_ANSWER);
  EXPECT_EQ(answer.size(), 5u);
}

TEST(Face, fetches_statistics) {
  std::string table(21896, '\0');
  table.replace(551 * 8, 8, word(3) + word(132));
  const run_dir dir;
  const fake_service service(dir, answer_always(table));
  std::vector<vesk_client_sender_statistics> rows(VESK_CLIENT_STATISTICS_ROWS);
  EXPECT_EQ(open_at(dir).statistics(log_client::statistics_rows(rows)), VESK_CLIENT_OK);
  EXPECT_EQ(rows[551].entry_count, 3u);
  EXPECT_EQ(rows[551].byte_count, 132u);
}

TEST(Face, passes_its_handle_on) {
  const run_dir dir;
  const fake_service service(dir, receipt_always);
  log_client first = open_at(dir);
  vesk_client *const handle = first.get();
  log_client second = std::move(first);
  EXPECT_FALSE(first.is_open());
  EXPECT_EQ(second.get(), handle);
  log_client third = open_at(dir);
  third = std::move(second);
  EXPECT_FALSE(second.is_open());
  EXPECT_EQ(third.get(), handle);
  EXPECT_EQ(third.confirm(1162), VESK_CLIENT_OK);
  log_client &itself = third;
  third = std::move(itself);
  EXPECT_EQ(third.get(), handle);
}

// How many descriptors this process has.
size_t descriptors() {
  size_t count = 0;
  for (int fd = 0; fd < 1024; ++fd) count += fcntl(fd, F_GETFD) >= 0;
  return count;
}

TEST(Face, leaves_no_descriptor_open) {
  const run_dir dir;
  const size_t before = descriptors();
  {
    log_client client = open_at(dir);
    EXPECT_EQ(descriptors(), before + 1);
    log_client other = open_at(dir);
    other = std::move(client);
    EXPECT_EQ(descriptors(), before + 1);
    EXPECT_EQ(other.open(1, dir.path().c_str()), VESK_CLIENT_OK);
    EXPECT_EQ(descriptors(), before + 1);
    EXPECT_EQ(other.open(1, ""), VESK_CLIENT_BAD_RUN_DIR);
    EXPECT_EQ(descriptors(), before);
    EXPECT_FALSE(other.is_open());
  }
  EXPECT_EQ(descriptors(), before);
}

TEST(Face, says_where_the_daemon_is) {
  const run_dir dir;
  EXPECT_EQ(open_at(dir).address(), dir.socket_path());
  EXPECT_STREQ(log_client().address(), "");
}

TEST(Face, does_nothing_while_it_is_not_open) {
  log_client client;
  std::span<std::byte> answer;
  std::vector<vesk_client_sender_statistics> rows(VESK_CLIENT_STATISTICS_ROWS);
  EXPECT_FALSE(client.is_open());
  EXPECT_EQ(client.get(), nullptr);
  EXPECT_EQ(client.log(fan_tray, "x"), VESK_CLIENT_BAD_ARGUMENT);
  EXPECT_EQ(client.update(fan_tray, "x"), VESK_CLIENT_BAD_ARGUMENT);
  EXPECT_EQ(client.send(1162), VESK_CLIENT_BAD_ARGUMENT);
  EXPECT_EQ(client.confirm(1162), VESK_CLIENT_BAD_ARGUMENT);
  EXPECT_EQ(client.request(1162, {}, {}, answer), VESK_CLIENT_BAD_ARGUMENT);
  EXPECT_EQ(client.statistics(log_client::statistics_rows(rows)), VESK_CLIENT_BAD_ARGUMENT);
  client.close();
}

}  // namespace
}  // namespace vesk::test
