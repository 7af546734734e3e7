// Entries as JSON: one object an entry, all values strings.
#include "tools/veskshow/format.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/files.h"
#include "tests/support/program.h"
#include "tests/unit/tools/veskshow/fields_in_json.h"
#include "tests/unit/tools/veskshow/sample_entry.h"

namespace vesk::test {

using namespace shared;
using namespace veskshow;
namespace {

using namespace std::string_literals;

const name_table names{.uuids = {{510, "watch\"dog"}}, .types = {{1024, "réset"}}};

const sample full{.data = "hello\0\0\0"s,
                  .offset = 4096,
                  .flags = 7,
                  .prev_size = 40,
                  .set_back_usecs = 2000000,
                  .certainty = "likely"};

std::string as_json(const sample &what, const look &how = {}) {
  return shown_as(output_format::json, what, how);
}

// The value of one field, if the entry has it.
std::optional<std::string> field_of(const std::string &name, const sample &what,
                                    const look &how = {}) {
  const field_map fields = fields_in(as_json(what, how));
  const auto found = fields.find(name);
  if (found == fields.end()) return {};
  return found->second;
}

std::optional<std::string> message(const std::string &data) {
  return field_of("MESSAGE", {.data = data});
}

std::optional<std::string> base64(const std::string &data) {
  return field_of("VESK_DATA_BASE64", {.data = data});
}

TEST(Json, is_one_line_an_entry) {
  EXPECT_EQ(as_json(full),
            R"({"__CURSOR":"o=4096;s=1767225600;m=1;u=510;t=1024;f=kernel.log",)"
            R"("__REALTIME_TIMESTAMP":"1767225600000001","MESSAGE":"hello",)"
            R"("SYSLOG_IDENTIFIER":"510","VESK_FILE":"kernel.log","VESK_FILE_TYPE":"21",)"
            R"("VESK_UUID":"510","VESK_TYPE":"1024","VESK_FLAGS":"7","VESK_SIZE":"8",)"
            R"("VESK_OFFSET":"4096","VESK_PREV_SIZE":"40","VESK_SECS":"1767225600",)"
            R"("VESK_USECS":"1","VESK_CLOCK_SET_BACK_USEC":"2000000",)"
            R"("VESK_CERTAINTY":"likely"})"
            "\n");
}

TEST(Json, has_only_the_fields_that_the_entry_has) {
  EXPECT_EQ(fields_in(as_json({.data = "", .file = "/tmp/copy", .file_type = 0})),
            (field_map{{"__CURSOR", "o=20;s=1767225600;m=1;u=510;t=1024;f=/tmp/copy"},
                       {"__REALTIME_TIMESTAMP", "1767225600000001"},
                       {"MESSAGE", ""},
                       {"SYSLOG_IDENTIFIER", "510"},
                       {"VESK_FILE", "/tmp/copy"},
                       {"VESK_UUID", "510"},
                       {"VESK_TYPE", "1024"},
                       {"VESK_FLAGS", "0"},
                       {"VESK_SIZE", "0"},
                       {"VESK_OFFSET", "20"},
                       {"VESK_PREV_SIZE", "0"},
                       {"VESK_SECS", "1767225600"},
                       {"VESK_USECS", "1"}}));
}

TEST(Json, has_the_largest_numbers) {
  EXPECT_EQ(fields_in(as_json({.data = "\xFF\xFF\xFF\xFF",
                               .file_type = 38,
                               .offset = 0xFFFFFFFF,
                               .uuid = 65535,
                               .type = 65535,
                               .flags = 255,
                               .prev_size = 65535,
                               .secs = 0xFFFFFFFF,
                               .usecs = 0xFFFFFFFF,
                               .set_back_usecs = 4294967295999999})),
            (field_map{
                {"__CURSOR", "o=4294967295;s=4294967295;m=4294967295;u=65535;t=65535;f=kernel.log"},
                {"__REALTIME_TIMESTAMP", "4294967295000000"},
                {"VESK_DATA_BASE64", "/////w=="},
                {"SYSLOG_IDENTIFIER", "65535"},
                {"VESK_FILE", "kernel.log"},
                {"VESK_FILE_TYPE", "38"},
                {"VESK_UUID", "65535"},
                {"VESK_TYPE", "65535"},
                {"VESK_FLAGS", "255"},
                {"VESK_SIZE", "4"},
                {"VESK_OFFSET", "4294967295"},
                {"VESK_PREV_SIZE", "65535"},
                {"VESK_SECS", "4294967295"},
                {"VESK_USECS", "4294967295"},
                {"VESK_CLOCK_SET_BACK_USEC", "4294967295999999"}}));
}

// As it is found in an image of a whole flash.
TEST(Json, has_offsets_beyond_four_gibibytes) {
  const sample far{.offset = 20, .base = 0x100000000};
  EXPECT_EQ(field_of("VESK_OFFSET", far), "4294967316");
  EXPECT_EQ(field_of("__CURSOR", far), "o=4294967316;s=1767225600;m=1;u=510;t=1024;f=kernel.log");
}

TEST(Json, has_names_beside_the_numbers) {
  EXPECT_EQ(field_of("SYSLOG_IDENTIFIER", {}, {.names = names}), "watch\"dog");
  EXPECT_EQ(field_of("VESK_UUID", {}, {.names = names}), "510");
  EXPECT_EQ(field_of("VESK_TYPE_NAME", {}, {.names = names}), "réset");
  EXPECT_EQ(field_of("VESK_TYPE", {}, {.names = names}), "1024");
  EXPECT_EQ(field_of("SYSLOG_IDENTIFIER", {.uuid = 511}, {.names = names}), "511");
  EXPECT_EQ(field_of("VESK_TYPE_NAME", {.type = 1025}, {.names = names}), std::nullopt);
}

TEST(Json, stays_utf_8_whatever_names_and_paths_are) {
  const name_table odd{.uuids = {{510, "a\xFF"}}, .types = {{1024, "b\x1b"}}};
  const sample what{.file = "/tmp/\xC3(", .file_type = 0};
  EXPECT_EQ(field_of("SYSLOG_IDENTIFIER", what, {.names = odd}), "a\\xff");
  EXPECT_EQ(field_of("VESK_TYPE_NAME", what, {.names = odd}), "b\\e");
  EXPECT_EQ(field_of("VESK_FILE", what), "/tmp/\\xc3(");
  EXPECT_EQ(field_of("__CURSOR", what), "o=20;s=1767225600;m=1;u=510;t=1024;f=/tmp/\\xc3(");
}

TEST(Json, leaves_microseconds_that_are_none_out_of_the_stamp) {
  EXPECT_EQ(field_of("__REALTIME_TIMESTAMP", {.usecs = 999999}), "1767225600999999");
  EXPECT_EQ(field_of("__REALTIME_TIMESTAMP", {.usecs = 1000000}), "1767225600000000");
  EXPECT_EQ(field_of("VESK_USECS", {.usecs = 1000000}), "1000000");
}

TEST(JsonMessage, loses_padding_and_one_newline) {
  EXPECT_EQ(message("text"), "text");
  EXPECT_EQ(message("tex\0"s), "tex");
  EXPECT_EQ(message("te\0\0"s), "te");
  EXPECT_EQ(message("t\0\0\0"s), "t");
  EXPECT_EQ(message("a\n\n\0"s), "a\n");
  EXPECT_EQ(message("\n\0\0\0"s), "");
}

TEST(JsonMessage, is_the_text_unchanged) {
  const std::string text =
      "one\ntwo \"quoted\" C:\\dir\t/\r\a\b\f\v\x1b[1m Grüße \u2028\u202E 温度 😀";
  EXPECT_EQ(message(text), text);
  EXPECT_EQ(base64(text), std::nullopt);
}

TEST(JsonMessage, is_escaped_as_json_has_it) {
  EXPECT_NE(as_json({.data = "a\"\\/\n\x1b\t"}).find(R"("MESSAGE":"a\"\\/\n\u001B\t",)"),
            std::string::npos)
      << as_json({.data = "a\"\\/\n\x1b\t"});
}

TEST(JsonBytes, are_in_base_64_with_their_padding) {
  EXPECT_EQ(base64("\xFF\0\0\0"s), "/wAAAA==");
  EXPECT_EQ(base64("\x01\x02\x03\x04\x05\0\0\0"s), "AQIDBAUAAAA=");
  EXPECT_EQ(base64("ab\xFB\xFF\xFEz"), "YWL7//56");
  EXPECT_EQ(message("\xFF\0\0\0"s), std::nullopt);
}

TEST(JsonBytes, are_what_is_no_text_to_people) {
  EXPECT_EQ(base64("abc\x01"), "YWJjAQ==");
  EXPECT_EQ(base64("abc\x7F"), "YWJjfw==");
  EXPECT_EQ(base64("ab\xC2\x9B"), "YWLCmw==");
  EXPECT_EQ(base64("\0\0\0\0"s), "AAAAAA==");
}

TEST(JsonBytes, may_be_as_long_as_an_entry_can_be) {
  EXPECT_EQ(base64(std::string(65535, '\xFF')), std::string(87380, '/'));
}

TEST(PrettyJson, has_a_line_for_each_field) {
  EXPECT_EQ(shown_as(output_format::json_pretty, full),
            "{\n"
            "    \"__CURSOR\": \"o=4096;s=1767225600;m=1;u=510;t=1024;f=kernel.log\",\n"
            "    \"__REALTIME_TIMESTAMP\": \"1767225600000001\",\n"
            "    \"MESSAGE\": \"hello\",\n"
            "    \"SYSLOG_IDENTIFIER\": \"510\",\n"
            "    \"VESK_FILE\": \"kernel.log\",\n"
            "    \"VESK_FILE_TYPE\": \"21\",\n"
            "    \"VESK_UUID\": \"510\",\n"
            "    \"VESK_TYPE\": \"1024\",\n"
            "    \"VESK_FLAGS\": \"7\",\n"
            "    \"VESK_SIZE\": \"8\",\n"
            "    \"VESK_OFFSET\": \"4096\",\n"
            "    \"VESK_PREV_SIZE\": \"40\",\n"
            "    \"VESK_SECS\": \"1767225600\",\n"
            "    \"VESK_USECS\": \"1\",\n"
            "    \"VESK_CLOCK_SET_BACK_USEC\": \"2000000\",\n"
            "    \"VESK_CERTAINTY\": \"likely\"\n"
            "}\n");
}

// --- what jq makes of it ---

constexpr char jq[] = "/usr/bin/jq";

class ReadByJq : public ::testing::TestWithParam<output_format> {
 protected:
  void SetUp() override {
    if (left_out_here(jq)) GTEST_SKIP() << "a private root without mounts has no jq";
  }

  // What jq's program gives for these entries.
  static std::string read(const std::string &program, const std::vector<sample> &entries) {
    std::string text;
    for (const sample &entry : entries) text += shown_as(GetParam(), entry, {.names = names});
    const ended result = run_shell("jq " + program, {.input = text});
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }
};

TEST_P(ReadByJq, entries_are_a_sequence_of_objects) {
  EXPECT_EQ(read("-c -s length", {full, {.data = "\xFF\0\0\0"s}, {.data = ""}}), "3\n");
}

TEST_P(ReadByJq, all_values_are_strings) {
  EXPECT_EQ(read("-c '[.[] | type] | unique'", {full, {.data = "\xFF\0\0\0"s}}),
            "[\"string\"]\n[\"string\"]\n");
}

TEST_P(ReadByJq, text_comes_back) {
  const std::string text = "one\ntwo \"\\\t\r\a\b\f\v\x1b[1m Grüße \u2028\u202E 温度 😀";
  EXPECT_EQ(read("-j .MESSAGE", {{.data = text}, {.data = "two\0"s}}), text + "two");
}

TEST_P(ReadByJq, fields_come_back) {
  EXPECT_EQ(read("-r '[.SYSLOG_IDENTIFIER, .VESK_TYPE_NAME, .VESK_FILE, .VESK_OFFSET] | @tsv'",
                 {full, {.file = "/tmp/copy", .file_type = 0, .uuid = 80}}),
            "watch\"dog\tréset\tkernel.log\t4096\n"
            "80\tréset\t/tmp/copy\t20\n");
}

TEST_P(ReadByJq, bytes_come_back) {
  EXPECT_EQ(read("-j '.VESK_DATA_BASE64 | @base64d'", {{.data = "abc\x01\x7Fxyz"}}),
            "abc\x01\x7Fxyz");
}

INSTANTIATE_TEST_SUITE_P(Json, ReadByJq,
                         ::testing::Values(output_format::json, output_format::json_pretty),
                         [](const auto &format) {
                           return format.param == output_format::json ? "OnLines" : "Pretty";
                         });

}  // namespace
}  // namespace vesk::test
