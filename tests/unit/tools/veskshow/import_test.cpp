// Exported entries in a journal of the system: what journalctl reads there is what was written.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/support/file_bytes.h"
#include "tests/support/files.h"
#include "tests/support/program.h"
#include "tests/unit/tools/veskshow/fields_in_json.h"
#include "tests/unit/tools/veskshow/sample_entry.h"

namespace vesk::test {

using namespace shared;
using namespace veskshow;
namespace {

using namespace std::string_literals;

constexpr char importer[] = "/usr/lib/systemd/systemd-journal-remote";
constexpr char boot_id[] = "5ef1c0de9d7a4b21b0c7365f1ae84d02";

// Imports what was exported and returns what journalctl then knows, entry by entry, except the
// cursors, which are the journal's own.
std::vector<field_map> imported(const std::string &exported) {
  const scratch_directory directory;
  const ended result = run_shell(std::string(importer) +
                                     " -o imported.journal - >import.out && "
                                     "journalctl --file imported.journal --all -o json",
                                 {.input = exported, .directory = directory.path()});
  EXPECT_EQ(result.status, 0) << result;
  std::vector<field_map> entries;
  size_t start = 0;
  for (size_t end; (end = result.out.find('\n', start)) != std::string::npos; start = end + 1) {
    entries.push_back(fields_in(result.out.substr(start, end - start)));
    entries.back().erase("__CURSOR");
  }
  return entries;
}

class Import : public ::testing::Test {
 protected:
  void SetUp() override {
    if (left_out_here(importer)) {
      GTEST_SKIP() << "a private root without mounts has no systemd-journal-remote";
    }
  }
};

TEST_F(Import, keeps_every_field_of_every_entry) {
  const look how{.names = {.uuids = {{510, "wächter"}}, .types = {{1024, "re\tset"}}}};
  std::string exported;
  for (const sample &what : {
           sample{.data = "one\ntwo \"\\\" \x1b[1m Grüße \u2028 😀\n\0\0"s, .flags = 255},
           sample{.data = "\xFF\n\0\x01\n\n__CURSOR=x\n\n\0\0"s,
           .file = "/tmp/c=\xFF",
           .file_type = 0,
           .offset = 0xFFFFFFFC,
           .uuid = 80,
           .type = 2000,
           .prev_size = 65532,
           .secs = new_year - 100,
           .usecs = 1000001,
           .set_back_usecs = 100000001,
           .certainty = "likely"},
           sample{.data = "", .secs = 0, .usecs = 0},
           sample{.secs = 0xFFFFFFFF, .usecs = 999999},
       }) {
    exported += shown_as(output_format::journal_export, what, how);
  }

  const auto entries = imported(exported);
  ASSERT_EQ(entries.size(), 4u);
  EXPECT_EQ(entries[0], (field_map{{"__REALTIME_TIMESTAMP", "1767225600000001"},
                                   {"__MONOTONIC_TIMESTAMP", "1767225600000001"},
                                   {"_BOOT_ID", boot_id},
                                   {"MESSAGE", "one\ntwo \"\\\" \x1b[1m Grüße \u2028 😀"},
                                   {"SYSLOG_IDENTIFIER", "wächter"},
                                   {"VESK_FILE", "kernel.log"},
                                   {"VESK_FILE_TYPE", "21"},
                                   {"VESK_UUID", "510"},
                                   {"VESK_TYPE", "1024"},
                                   {"VESK_TYPE_NAME", "re\tset"},
                                   {"VESK_FLAGS", "255"},
                                   {"VESK_SIZE", "36"},
                                   {"VESK_OFFSET", "20"},
                                   {"VESK_PREV_SIZE", "0"},
                                   {"VESK_SECS", "1767225600"},
                                   {"VESK_USECS", "1"}}));
  EXPECT_EQ(entries[1], (field_map{{"__REALTIME_TIMESTAMP", "1767225500000000"},
                                   {"__MONOTONIC_TIMESTAMP", "1767225500000000"},
                                   {"_BOOT_ID", boot_id},
                                   {"VESK_DATA", "\xFF\n\0\x01\n\n__CURSOR=x\n\n\0\0"s},
                                   {"SYSLOG_IDENTIFIER", "80"},
                                   {"VESK_FILE", "/tmp/c=\\xff"},
                                   {"VESK_UUID", "80"},
                                   {"VESK_TYPE", "2000"},
                                   {"VESK_FLAGS", "0"},
                                   {"VESK_SIZE", "20"},
                                   {"VESK_OFFSET", "4294967292"},
                                   {"VESK_PREV_SIZE", "65532"},
                                   {"VESK_SECS", "1767225500"},
                                   {"VESK_USECS", "1000001"},
                                   {"VESK_CLOCK_SET_BACK_USEC", "100000001"},
                                   {"VESK_CERTAINTY", "likely"}}));
  EXPECT_EQ(entries[2], (field_map{{"__REALTIME_TIMESTAMP", "1"},
                                   {"__MONOTONIC_TIMESTAMP", "1"},
                                   {"_BOOT_ID", boot_id},
                                   {"MESSAGE", ""},
                                   {"SYSLOG_IDENTIFIER", "wächter"},
                                   {"VESK_FILE", "kernel.log"},
                                   {"VESK_FILE_TYPE", "21"},
                                   {"VESK_UUID", "510"},
                                   {"VESK_TYPE", "1024"},
                                   {"VESK_TYPE_NAME", "re\tset"},
                                   {"VESK_FLAGS", "0"},
                                   {"VESK_SIZE", "0"},
                                   {"VESK_OFFSET", "20"},
                                   {"VESK_PREV_SIZE", "0"},
                                   {"VESK_SECS", "0"},
                                   {"VESK_USECS", "0"}}));
  EXPECT_EQ(entries[3].at("__REALTIME_TIMESTAMP"), "4294967295999999");
  EXPECT_EQ(entries[3].at("MESSAGE"), "text");
}

TEST_F(Import, keeps_data_of_the_greatest_length) {
  const std::string text(65532, 'x');
  const std::string bytes(65532, '\xFE');
  const auto entries = imported(shown_as(output_format::journal_export, {.data = text}) +
                                shown_as(output_format::journal_export, {.data = bytes}));
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].at("MESSAGE"), text);
  EXPECT_EQ(entries[1].at("VESK_DATA"), bytes);
}

// --- a ring full of anything ---

// Entries with random fields and data, as bytes of a ring and as the journal should know them.
class random_ring {
 public:
  explicit random_ring(uint32_t seed) : random_(seed) {}

  void add_entry() {
    const bool is_text = below(2) == 0;
    const std::string data = is_text ? text() : bytes();
    std::string padded = data;
    while (padded.size() % 4 != 0) padded += '\0';
    const auto offset = static_cast<uint32_t>(20 + entries_.size());
    const header_fields header{.uuid = static_cast<uint16_t>(1 + below(2736)),
                               .type = static_cast<uint16_t>(1 + below(65535)),
                               .flags = static_cast<uint8_t>(below(256)),
                               .prev_size = static_cast<uint16_t>(below(65536)),
                               .secs = secs_ += below(3),
                               .usecs = below(1'000'000)};
    entries_ += entry(header, padded);

    const std::string usecs = std::to_string(header.usecs);
    const std::string stamp =
        std::to_string(header.secs) + std::string(6 - usecs.size(), '0') + usecs;
    field_map fields{{"__REALTIME_TIMESTAMP", stamp},
                     {"__MONOTONIC_TIMESTAMP", stamp},
                     {"_BOOT_ID", boot_id},
                     {"SYSLOG_IDENTIFIER", std::to_string(header.uuid)},
                     {"VESK_FILE", "platform.log"},
                     {"VESK_FILE_TYPE", "25"},
                     {"VESK_UUID", std::to_string(header.uuid)},
                     {"VESK_TYPE", std::to_string(header.type)},
                     {"VESK_FLAGS", std::to_string(header.flags)},
                     {"VESK_SIZE", std::to_string(padded.size())},
                     {"VESK_OFFSET", std::to_string(offset)},
                     {"VESK_PREV_SIZE", std::to_string(header.prev_size)},
                     {"VESK_SECS", std::to_string(header.secs)},
                     {"VESK_USECS", usecs}};
    fields[is_text ? "MESSAGE" : "VESK_DATA"] = !is_text ? padded
                                                : data.ends_with('\n')
                                                    ? data.substr(0, data.size() - 1)
                                                    : data;
    known_.push_back(fields);
  }

  std::string file() const {
    const auto end = static_cast<uint32_t>(20 + entries_.size());
    return gheader(1 << 20, 20, end) + entries_;
  }

  const std::vector<field_map> &known() const { return known_; }

 private:
  uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_() % limit); }

  std::string text() {
    const char *const pieces[] = {"a", "Zz9", " ", "=", "\"", "\\",     "\n", "\t",
                                  "ü", "温",  "😀", "{", "]",  "\u2028", "",   "\x1b[1m"};
    std::string made;
    for (uint32_t count = below(120); count > 0; --count) made += pieces[below(16)];
    return made;
  }

  // The first byte occurs in no text.
  std::string bytes() {
    std::string made(1, static_cast<char>(below(2) == 0 ? 0x01 : 0xFF));
    for (uint32_t count = below(600); count > 0; --count) made += static_cast<char>(below(256));
    return made;
  }

  std::mt19937 random_;
  uint32_t secs_ = new_year;
  std::string entries_;
  std::vector<field_map> known_;
};

std::string export_of(const std::string &file) {
  const name_table nothing;
  const entry_style style{output_format::journal_export, time_zone::utc, &nothing, false};
  ring_walk walk =
      begin_walk({reinterpret_cast<const uint8_t *>(file.data()), file.size()}, 1 << 20);
  std::string out;
  while (const auto entry = next_entry(walk)) {
    append_entry(out, {*entry, "platform.log", 25, {}}, style);
  }
  EXPECT_FALSE(walk.damage);
  return out;
}

TEST_F(Import, keeps_a_ring_of_random_entries) {
  for (const uint32_t seed : {1u, 2u}) {
    random_ring ring(seed);
    for (int i = 0; i < 400; ++i) ring.add_entry();
    auto entries = imported(export_of(ring.file()));
    ASSERT_EQ(entries.size(), 400u);
    for (size_t i = 0; i < entries.size(); ++i) {
      entries[i].erase("VESK_CLOCK_SET_BACK_USEC");  // records of one second may pass each other
      ASSERT_EQ(entries[i], ring.known()[i]) << "entry " << i << " of seed " << seed;
    }
  }
}

}  // namespace
}  // namespace vesk::test
