// Entries in the export format of the system journal, byte for byte.
#include "tools/veskshow/format.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/tools/veskshow/sample_entry.h"

namespace vesk::test {

using namespace shared;
using namespace veskshow;
namespace {

using namespace std::string_literals;

std::string as_export(const sample &what, const look &how = {}) {
  return shown_as(output_format::journal_export, what, how);
}

// The part of it that has the data: from behind the boot to the sender.
std::string exported_data(const std::string &data) {
  const std::string all = as_export({.data = data});
  const std::string before = "_BOOT_ID=5ef1c0de9d7a4b21b0c7365f1ae84d02\n";
  const size_t start = all.find(before) + before.size();
  return all.substr(start, all.find("SYSLOG_IDENTIFIER=") - start);
}

TEST(Export, has_each_field_on_a_line_and_an_empty_line_behind) {
  EXPECT_EQ(as_export({.data = "hello\n\0\0"s,
                       .offset = 4096,
                       .flags = 7,
                       .prev_size = 40,
                       .set_back_usecs = 2000000,
                       .certainty = "likely"},
                      {.names = {.uuids = {{510, "wächter"}}, .types = {{1024, "reset"}}}}),
            "__CURSOR=o=4096;s=1767225600;m=1;u=510;t=1024;f=kernel.log\n"
            "__REALTIME_TIMESTAMP=1767225600000001\n"
            "__MONOTONIC_TIMESTAMP=1767225600000001\n"
            "_BOOT_ID=5ef1c0de9d7a4b21b0c7365f1ae84d02\n"
            "MESSAGE=hello\n"
            "SYSLOG_IDENTIFIER=wächter\n"
            "VESK_FILE=kernel.log\n"
            "VESK_FILE_TYPE=21\n"
            "VESK_UUID=510\n"
            "VESK_TYPE=1024\n"
            "VESK_TYPE_NAME=reset\n"
            "VESK_FLAGS=7\n"
            "VESK_SIZE=8\n"
            "VESK_OFFSET=4096\n"
            "VESK_PREV_SIZE=40\n"
            "VESK_SECS=1767225600\n"
            "VESK_USECS=1\n"
            "VESK_CLOCK_SET_BACK_USEC=2000000\n"
            "VESK_CERTAINTY=likely\n"
            "\n");
}

TEST(Export, has_no_field_that_the_entry_has_not) {
  EXPECT_EQ(as_export({.data = "", .file = "/tmp/copy", .file_type = 0}),
            "__CURSOR=o=20;s=1767225600;m=1;u=510;t=1024;f=/tmp/copy\n"
            "__REALTIME_TIMESTAMP=1767225600000001\n"
            "__MONOTONIC_TIMESTAMP=1767225600000001\n"
            "_BOOT_ID=5ef1c0de9d7a4b21b0c7365f1ae84d02\n"
            "MESSAGE=\n"
            "SYSLOG_IDENTIFIER=510\n"
            "VESK_FILE=/tmp/copy\n"
            "VESK_UUID=510\n"
            "VESK_TYPE=1024\n"
            "VESK_FLAGS=0\n"
            "VESK_SIZE=0\n"
            "VESK_OFFSET=20\n"
            "VESK_PREV_SIZE=0\n"
            "VESK_SECS=1767225600\n"
            "VESK_USECS=1\n"
            "\n");
}

TEST(Export, counts_the_bytes_of_text_with_control_characters) {
  EXPECT_EQ(exported_data("one\ntwo\n"), "MESSAGE\n\7\0\0\0\0\0\0\0one\ntwo\n"s);
  EXPECT_EQ(exported_data("\x1b[1m"), "MESSAGE\n\4\0\0\0\0\0\0\0\x1b[1m\n"s);
  EXPECT_EQ(exported_data("a\tbc"), "MESSAGE\n\4\0\0\0\0\0\0\0a\tbc\n"s);
}

TEST(Export, leaves_other_text_as_it_is) {
  EXPECT_EQ(exported_data("a=\"b\\\" Grüße\u2028"), "MESSAGE=a=\"b\\\" Grüße\u2028\n");
}

TEST(Export, counts_the_bytes_of_other_data_with_their_padding) {
  EXPECT_EQ(exported_data("\xFF\n\0\0"s), "VESK_DATA\n\4\0\0\0\0\0\0\0\xFF\n\0\0\n"s);
  EXPECT_EQ(exported_data(std::string(65532, '\1')),
            "VESK_DATA\n\xFC\xFF\0\0\0\0\0\0"s + std::string(65532, '\1') + "\n");
}

// The journal takes 0 for no time at all and gives up.
TEST(Export, gives_an_entry_of_1970_the_first_time_that_can_be_imported) {
  const std::string zero = as_export({.secs = 0, .usecs = 0});
  EXPECT_NE(zero.find("\n__REALTIME_TIMESTAMP=1\n__MONOTONIC_TIMESTAMP=1\n"), std::string::npos);
  EXPECT_NE(zero.find("\nVESK_SECS=0\nVESK_USECS=0\n"), std::string::npos);
}

}  // namespace
}  // namespace vesk::test
