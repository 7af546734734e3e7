// The power fails in the middle of a write: the daemon is killed while it waits for the flash,
// which has taken a part of the bytes. What the next start makes of that is what veskshow
// predicted.
#include <gtest/gtest.h>
#include <signal.h>

#include <cerrno>

#include "tests/flash/flash_test.h"

namespace vesk::test {

namespace {

using namespace std::chrono_literals;

using texts = std::vector<std::string>;

enum class fate : uint8_t { keep, remove, rebuild };
using enum fate;

// How veskshow puts it.
std::string words_of(fate given) {
  switch (given) {
    case keep:
      return "vesk.log: sound; the next first start would keep it as it is";
    case remove:
      return "vesk.log: damaged; the next first start would remove it";
    case rebuild:
      return "vesk.log: damaged; the next first start would rebuild its global header";
  }
  return "";
}

struct cut {
  const char *name;
  bool update;     // of the first entry, not a third one
  uint32_t write;  // which one: 0 header, 1 data, 2 padding, 3 global header
  uint32_t keep;   // of its bytes
  fate predicted;
  texts shown;  // after the start
};

void PrintTo(const cut &which, std::ostream *out) {
  *out << which.name;
}

class PowerCut : public flash_test, public ::testing::WithParamInterface<cut> {
 protected:
  void SetUp() override {
    flash_test::SetUp();
    if (!ready()) return;
    // Headers at 20, 48 and 76, which is the end.
    for (const char *data : {"first", "other"}) {
      ASSERT_EQ(send(data), response::stored);
    }
    ASSERT_EQ(flash.on_chip("vesk.log").size(), 76u);
  }

  // Sends the record, and pulls the plug when the write has got as far as it is to get.
  void cut_off(const cut &which, const record &sent) {
    flash.will({.call = flash_call::write,
                .error = EIO,
                .skip = which.write,
                .keep = which.keep,
                .stay = 10s});
    ASSERT_NE(sender.send(1151, sent.bytes()), 0u);
    ASSERT_TRUE(eventually([&] { return flash.hits(flash_call::write) == 1; }));
    kill(daemon.process(), SIGKILL);
    flash.heal();
    ASSERT_EQ(daemon.stop(SIGKILL), 128 + SIGKILL);
  }
};

record third_record() {
  return good_record("third");
}

// Later than what it replaces, and by another number of microseconds.
record update_of_first() {
  return {{.len = 5,
           .update = 1,
           .secs = 0x6A6B6C6D,
           .usecs = 0x000A0B0C,
           .file_type = 5,
           .sync = 1,
           .instance = 1,
           .data = "FIRST"}};
}

TEST_P(PowerCut, ends_as_predicted) {
  const cut &which = GetParam();
  cut_off(which, which.update ? update_of_first() : third_record());
  const std::string left = flash.on_chip("vesk.log");
  const ended verify = run({"veskshow", "--verify", "vesk"});
  EXPECT_EQ(lines_of(verify.out).at(0), words_of(which.predicted));
  boot();
  if (which.predicted == remove) {
    EXPECT_TRUE(eventually([&] { return !flash.has("vesk.log"); }));
  } else {
    EXPECT_EQ(shown_data("vesk"), which.shown);
    EXPECT_EQ(flash.on_chip("vesk.log") == left, which.predicted == keep);
  }
  EXPECT_EQ(send("next"), response::stored);
  texts with_next = which.shown;
  with_next.emplace_back("next");
  EXPECT_EQ(shown_data("vesk"), with_next);
}

// The global headers of 76 and of 104 bytes differ in the checksum, bytes 6 and 7, and in byte 19.
INSTANTIATE_TEST_SUITE_P(
    writes, PowerCut,
    ::testing::Values(
        cut{"header_not_begun", false, 0, 0, keep, {"first", "other"}},
        cut{"header_in_its_middle", false, 0, 10, keep, {"first", "other"}},
        cut{"header_done", false, 0, 20, keep, {"first", "other"}},
        cut{"data_in_their_middle", false, 1, 3, keep, {"first", "other"}},
        cut{"padding_in_its_middle", false, 2, 1, keep, {"first", "other"}},
        cut{"global_header_not_begun", false, 3, 0, keep, {"first", "other"}},
        cut{"global_header_before_its_checksum", false, 3, 6, keep, {"first", "other"}},
        cut{"global_header_behind_its_checksum", false, 3, 8, remove, {}},
        cut{"global_header_before_its_last_byte", false, 3, 19, remove, {}},
        cut{"global_header_done", false, 3, 20, keep, {"first", "other", "third"}},
        cut{"update_header_not_begun", true, 0, 0, keep, {"first", "other"}},
        cut{"update_header_in_its_middle", true, 0, 14, rebuild, {}},
        cut{"update_header_done", true, 0, 20, keep, {"first", "other"}},
        cut{"update_data_in_their_middle", true, 1, 3, keep, {"FIRst", "other"}},
        cut{"update_data_done", true, 1, 5, keep, {"FIRST", "other"}}),
    [](const auto &tested) { return std::string(tested.param.name); });

}  // namespace

}  // namespace vesk::test
