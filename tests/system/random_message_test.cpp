// A hundred thousand messages that nobody would send on purpose.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <random>
#include <string>

#include "tests/support/poll.h"
#include "tests/support/running_daemon.h"

namespace vesk::test {

namespace {

constexpr int message_count = 100000;

class message_source {
 public:
  explicit message_source(uint32_t seed) : random_(seed) {}

  // The next datagram: more often nearly right than plain noise, since noise ends at the header.
  std::vector<uint8_t> next() {
    switch (below(10)) {
      case 0:
        return noise(below(200));
      case 1:
        return bent_header();
      case 2:
        return whole(any_opcode(), noise(below(300)));
      case 3:
        return whole(1153, half_words({static_cast<uint16_t>(one_of(0, 1, 2, 4, 65535)),
                                       static_cast<uint16_t>(below(70))}));
      case 4:
        return whole(1151, cut(likely_record()));
      case 5:
        return whole(1151, noise(below(64)));
      default:
        return whole(1151, likely_record());
    }
  }

 private:
  uint32_t below(uint32_t bound) { return std::uniform_int_distribution(0u, bound - 1)(random_); }

  template <typename... Number>
  uint32_t one_of(Number... choice) {
    const uint32_t choices[] = {static_cast<uint32_t>(choice)...};
    return choices[below(sizeof...(choice))];
  }

  std::vector<uint8_t> noise(size_t length) {
    std::vector<uint8_t> bytes(length);
    for (auto &byte : bytes) byte = static_cast<uint8_t>(random_());
    return bytes;
  }

  vesk_wire_header header(uint32_t opcode, size_t length) {
    return header_for(opcode, length, static_cast<uint32_t>(random_()));
  }

  std::vector<uint8_t> whole(uint32_t opcode, std::vector<uint8_t> payload) {
    return message(header(opcode, payload.size()), payload);
  }

  // One byte of the header is anything; the payload is what the header once said.
  std::vector<uint8_t> bent_header() {
    std::vector<uint8_t> bytes = whole(1151, likely_record());
    bytes[below(VESK_WIRE_HEADER_SIZE)] = static_cast<uint8_t>(random_());
    return bytes;
  }

  std::vector<uint8_t> cut(std::vector<uint8_t> payload) {
    payload.resize(below(static_cast<uint32_t>(payload.size()) + 1));
    return payload;
  }

  uint32_t any_opcode() {
    switch (below(4)) {
      case 0:
        return static_cast<uint32_t>(random_());
      case 1:
        return one_of(1152, 1155, 1162, 1165, 6024);
      case 2:
        return 60000 + below(5);
      default:
        return 1140 + below(40);
    }
  }

  // A record whose fields are at or near what is allowed. Some things are left out, because they
  // are allowed to leave a file that readers cannot follow: data of 65,533 bytes and more, entries
  // of different sizes in the smallest file, and updates of another size than the entry's.
  std::vector<uint8_t> likely_record() {
    record_fields fields{
        .uuid = static_cast<uint16_t>(one_of(0, 1, 77, 293, 2736, 2737, 65535)),
        .type = static_cast<uint16_t>(one_of(0, 1, 1023, 1024, 1025, 65535)),
        .len = static_cast<uint16_t>(below(20) == 0 ? below(4000) : below(200)),
        .flags = static_cast<uint8_t>(random_()),
        .secs = static_cast<uint32_t>(random_()),
        .usecs = static_cast<uint32_t>(random_()),
        .file_type = static_cast<uint16_t>(below(8) == 0 ? below(70) : one_of(1, 2, 5, 25, 29, 36)),
        .sync = static_cast<uint8_t>(below(50) == 0 ? 2 : one_of(0, 0, 0, 1, 3, 255)),
        .reserved = static_cast<uint8_t>(random_()),
        .instance = one_of(0, 1, 2, 1000000),
    };
    if (below(20) == 0) {
      fields.update = 1;
      fields.type = 3000;
      fields.len = 40;
    }
    if (fields.file_type == 7) fields.len = 100;
    return record(fields).bytes();
  }

  std::mt19937 random_;
};

using RandomMessages = daemon_test;

TEST_F(RandomMessages, harm_neither_the_daemon_nor_the_files) {
  constexpr uint32_t seed = 20240229;
  const auto enable_all = half_words({1, 0});
  message_source source(seed);
  for (int i = 0; i < message_count; ++i) {
    ASSERT_TRUE(sender.send_raw(source.next()))
        << "message " << i << " of seed " << seed << ": " << std::strerror(errno);
    sender.drain();
    // Some of them disable what they can; the others are to find work to do.
    if (i % 100 == 99) {
      ASSERT_EQ(sender.request(1153, enable_all).payload.size(), 8u);
    }
  }
  EXPECT_TRUE(stores(sender, good_record("still at work")));
  EXPECT_EQ(shown_data("vesk").back(), "still at work");
  const ended listed = run({"veskshow", "--list"});
  EXPECT_EQ(listed.status, 0) << listed;
}

}  // namespace

}  // namespace vesk::test
