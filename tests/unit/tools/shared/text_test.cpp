// Data as people read them: what is text, and how it is made harmless.
#include "tools/shared/text.h"

#include <gtest/gtest.h>

#include <string>

namespace vesk::test {

using namespace shared;
namespace {

using namespace std::string_literals;

std::span<const uint8_t> bytes_of(std::string_view data) {
  return {reinterpret_cast<const uint8_t *>(data.data()), data.size()};
}

std::string data_line(std::string_view data) {
  std::string out;
  append_data(out, bytes_of(data));
  return out;
}

std::optional<std::string> text_in(std::string_view data) {
  const auto text = text_of(bytes_of(data));
  if (!text) return {};
  return std::string(*text);
}

TEST(Text, loses_up_to_three_bytes_of_padding) {
  EXPECT_EQ(text_in("12345678"), "12345678");
  EXPECT_EQ(text_in("1234567\0"s), "1234567");
  EXPECT_EQ(text_in("123456\0\0"s), "123456");
  EXPECT_EQ(text_in("12345\0\0\0"s), "12345");
  EXPECT_EQ(text_in("1\0\0\0"s), "1");
}

TEST(Text, of_more_than_three_zeros_is_none) {
  EXPECT_EQ(text_in("1234\0\0\0\0"s), std::nullopt);
  EXPECT_EQ(text_in("\0\0\0\0"s), std::nullopt);
  EXPECT_EQ(text_in("te\0t"s), std::nullopt);
}

TEST(Text, may_be_empty) {
  EXPECT_EQ(text_in(""), "");
  EXPECT_EQ(data_line(""), "");
}

TEST(Text, lies_in_the_data) {
  const std::string data = "1234567\0"s;
  EXPECT_EQ(text_of(bytes_of(data))->data(), data.data());
}

TEST(Text, keeps_its_white_space) {
  EXPECT_EQ(text_in(" a\tb\r\n\n"), " a\tb\r\n\n");
}

TEST(Text, may_be_any_utf_8) {
  EXPECT_EQ(text_in("Grüße, 温度 😀"), "Grüße, 温度 😀");
  EXPECT_EQ(text_in("\u0080"), std::nullopt);  // a control character of two bytes
  EXPECT_EQ(text_in("\u00A0"), "\u00A0");
  EXPECT_EQ(text_in("\u07FF\u0800\uFFFF\U00010000\U0010FFFF"),
            "\u07FF\u0800\uFFFF\U00010000\U0010FFFF");
}

TEST(Text, holds_the_control_characters_of_text) {
  EXPECT_EQ(text_in("\a\b\t\n\v\f\r\x1b"), "\a\b\t\n\v\f\r\x1b");
}

// Every byte alone, at each place of a word and behind it: looking at eight at a time must not
// make a difference.
TEST(Text, is_found_byte_for_byte) {
  for (int byte = 0; byte < 256; ++byte) {
    const bool printable = byte >= 0x20 && byte < 0x7F;
    const bool text_control = (byte >= 0x07 && byte <= 0x0D) || byte == 0x1B;
    for (size_t place = 0; place < 19; ++place) {
      std::string data(20, ' ');
      data[place] = static_cast<char>(byte);
      EXPECT_EQ(text_in(data).has_value(), printable || text_control) << byte << " at " << place;
      EXPECT_EQ(safely(data) == data, printable || byte == '\t') << byte << " at " << place;
    }
  }
}

TEST(Text, is_nothing_that_is_not_utf_8) {
  for (const char *data : {
           "ab\xC0\xAF",        // overlong
           "a\xE0\x80\xAF",     // overlong
           "\xF0\x80\x80\xAF",  // overlong
           "a\xED\xA0\x80",     // a surrogate
           "\xF4\x90\x80\x80",  // beyond the last code point
           "\xFC\x80\x80\x80",  // no lead byte
           "abc\xC3",           // cut off
           "ab\xC3.",           // cut off
           "abc\x80",           // no lead byte
           "12345678\xFF",      // behind a word of ASCII
       }) {
    EXPECT_EQ(text_in(data), std::nullopt) << data;
  }
}

TEST(TextLine, loses_one_newline_at_its_end_and_shows_the_others) {
  EXPECT_EQ(data_line("line\n\0\0\0"s), "line");
  EXPECT_EQ(data_line("one\r\ntwo\n\n"), "one\\r\\ntwo\\n");
}

TEST(TextLine, keeps_tabs_and_backslashes) {
  EXPECT_EQ(data_line("a\tb\\n"), "a\tb\\n");
}

TEST(TextLine, is_harmless_to_a_terminal) {
  EXPECT_EQ(data_line("\x1b[2Jgone\a\b\v\f"), "\\e[2Jgone\\x07\\x08\\x0b\\x0c");
}

TEST(TextLine, cannot_turn_or_break) {
  EXPECT_EQ(data_line("abc\u202Efed\u2066\u2028"), "abc\\u202efed\\u2066\\u2028");
}

TEST(TextLine, keeps_what_stands_around_special_characters) {
  EXPECT_EQ(data_line("0123456789 eleven\x1b and twelve, thirteenü, fourteen"),
            "0123456789 eleven\\e and twelve, thirteenü, fourteen");
}

TEST(SafeText, shows_what_is_not_utf_8_byte_for_byte) {
  EXPECT_EQ(safely("/tmp/\xFF\xC3(\n"), "/tmp/\\xff\\xc3(\\n");
}

TEST(Bytes, are_shown_as_their_length_and_the_first_sixteen) {
  EXPECT_EQ(data_line("\x01\x02\x03\xFF"), "<4 bytes: 010203ff>");
  EXPECT_EQ(data_line("\x01\0\0\0"s), "<4 bytes: 01000000>");
  EXPECT_EQ(data_line("\xFF and fifteen..."), "<16 bytes: ff20616e 64206669 66746565 6e2e2e2e>");
  EXPECT_EQ(data_line("\xFF and seventeen..\0\0\0"s),
            "<20 bytes: ff20616e 64207365 76656e74 65656e2e ...>");
}

TEST(Bytes, are_control_characters_that_occur_in_no_text) {
  EXPECT_EQ(data_line("abc\x7F"), "<4 bytes: 6162637f>");
  EXPECT_EQ(data_line("abc\x01"), "<4 bytes: 61626301>");
  EXPECT_EQ(data_line("ab\xC2\x9B"), "<4 bytes: 6162c29b>");  // as ESC [ to some terminals
}

TEST(Bytes, are_shown_in_full_in_groups_of_four) {
  const auto hex = [](std::string_view data) {
    std::string out = "data ";
    append_hex(out, bytes_of(data));
    return out;
  };
  EXPECT_EQ(hex(""), "data ");
  EXPECT_EQ(hex("\x00\x9F\xF0"s), "data 009ff0");
  EXPECT_EQ(hex("abcd"), "data 61626364");
  EXPECT_EQ(hex("abcdefghi"), "data 61626364 65666768 69");
}

TEST(Number, consists_of_decimal_digits_alone) {
  EXPECT_EQ(number_in<uint16_t>("0"), 0);
  EXPECT_EQ(number_in<uint16_t>("065535"), 65535);
  EXPECT_EQ(number_in<uint64_t>("18446744073709551615"), 18446744073709551615u);
  for (const char *typed : {"", "-1", "+1", " 1", "1 ", "1.0", "0x10", "a"}) {
    EXPECT_EQ(number_in<uint16_t>(typed), std::nullopt) << typed;
    EXPECT_FALSE(is_digits(typed)) << typed;
  }
}

TEST(Number, that_is_too_large_is_none) {
  EXPECT_EQ(number_in<uint16_t>("65536"), std::nullopt);
  EXPECT_EQ(number_in<uint64_t>("18446744073709551616"), std::nullopt);
  EXPECT_TRUE(is_digits("18446744073709551616"));
}

TEST(Formatted, is_what_printf_prints) {
  EXPECT_EQ(formatted("%04x %s", 0xBEEFu, "and more"), "beef and more");
}

TEST(Formatted, is_cut_behind_127_characters) {
  EXPECT_EQ(formatted("%200d", 1), std::string(127, ' '));
}

}  // namespace
}  // namespace vesk::test
