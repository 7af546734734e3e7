// The lines that veskshow prints for entries.
#include <gtest/gtest.h>

#include <string>

#include "tests/unit/reader/file_bytes.h"
#include "tests/unit/reader/run_veskshow.h"

namespace vesk::test {
namespace {

using namespace std::string_literals;

// What veskshow prints for a file with these entries.
std::string lines_for(const std::string &entries) {
  const scratch_directory directory;
  store(directory / "ring", file_of(entries));
  const shown result = veskshow({"--utc", directory / "ring"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  return result.out;
}

// What it prints for the data of one entry: the line behind the column of the size.
std::string data_for(std::string_view data) {
  const std::string line = lines_for(padded_entry(data));
  const std::string front = "2024-05-01 12:00:00.000000   677  1024    ";
  EXPECT_EQ(line.substr(0, front.size()), front);
  EXPECT_TRUE(line.ends_with('\n'));
  const size_t column = front.size() + 4;
  return line.substr(column, line.size() - column - 1);
}

TEST(Line, HasTimeSenderTypeSizeAndData) {
  EXPECT_EQ(lines_for(alpha() + beta() + gamma_ray()),
            "2024-05-01 12:00:00.000001   677  1024     8  alpha\n"
            "2024-05-01 12:00:01.250000    80  1025     4  beta\n"
            "2024-05-01 12:00:02.999999   510  2000    12  gamma ray\n");
}

TEST(Line, HasTheLocalTimeUnlessUtcIsAskedFor) {
  const scratch_directory directory;
  store(directory / "ring", file_of(beta()));
  EXPECT_EQ(veskshow({directory / "ring"}).out,
            "2024-05-01 14:00:01.250000    80  1025     4  beta\n");
}

TEST(Line, LeavesNullEntriesOut) {
  EXPECT_EQ(lines_for(null8() + beta() + null8()),
            "2024-05-01 12:00:01.250000    80  1025     4  beta\n");
}

TEST(Line, OfAnEntryWithoutDataEndsWithTheSize) {
  EXPECT_EQ(lines_for(entry({.uuid = 5, .type = 65535}, "")),
            "2024-05-01 12:00:00.000000     5 65535     0\n");
}

TEST(Line, ShowsTimesFromTheFirstToTheLast) {
  EXPECT_EQ(lines_for(entry({.secs = 0}, "past") + entry({.secs = 0xFFFFFFFF}, "last")),
            "1970-01-01 00:00:00.000000   677  1024     4  past\n"
            "2106-02-07 06:28:15.000000   677  1024     4  last\n");
}

TEST(Line, DoesNotPassOffOtherNumbersAsMicroseconds) {
  EXPECT_EQ(lines_for(entry({.usecs = 1000000}, "late") + entry({.usecs = 0xFFFFFFFF}, "odd.")),
            "2024-05-01 12:00:00+1000000us   677  1024     4  late\n"
            "2024-05-01 12:00:00+4294967295us   677  1024     4  odd.\n");
}

TEST(Line, KeepsRingOrderWhenTheClockJumps) {
  EXPECT_EQ(lines_for(entry({.secs = noon + 60}, "one.") + entry({.secs = noon}, "two.")),
            "2024-05-01 12:01:00.000000   677  1024     4  one.\n"
            "2024-05-01 12:00:00.000000   677  1024     4  two.\n");
}

TEST(Text, LosesUpToThreeBytesOfPadding) {
  EXPECT_EQ(data_for("1"), "1");
  EXPECT_EQ(data_for("12345"), "12345");
  EXPECT_EQ(data_for("12345678"), "12345678");
}

TEST(Text, MayBeAnyUtf8) {
  EXPECT_EQ(data_for("Grüße, 温度 😀"), "Grüße, 温度 😀");
}

TEST(Text, KeepsTabsAndBackslashes) {
  EXPECT_EQ(data_for("a\tb\\n"), "a\tb\\n");
}

TEST(Text, LosesOneNewlineAtItsEndAndShowsTheOthers) {
  EXPECT_EQ(data_for("line\n"), "line");
  EXPECT_EQ(data_for("one\r\ntwo\n\n"), "one\\r\\ntwo\\n");
}

TEST(Text, IsHarmlessToATerminal) {
  EXPECT_EQ(data_for("\x1b[2Jgone\a\b\v\f"), "\\e[2Jgone\\x07\\x08\\x0b\\x0c");
}

TEST(Text, CannotTurnOrBreakItsLine) {
  EXPECT_EQ(data_for("abc\u202Efed\u2066\u2028"), "abc\\u202efed\\u2066\\u2028");
}

TEST(Bytes, AreShownAsTheirLengthAndTheFirstSixteen) {
  EXPECT_EQ(data_for("\x01\x02\x03\xFF"), "<4 bytes: 010203ff>");
  EXPECT_EQ(data_for("\x01"), "<4 bytes: 01000000>");
  EXPECT_EQ(data_for("\xFF and fifteen..."), "<16 bytes: ff20616e 64206669 66746565 6e2e2e2e>");
  EXPECT_EQ(data_for("\xFF and seventeen.."),
            "<20 bytes: ff20616e 64207365 76656e74 65656e2e ...>");
}

TEST(Bytes, OfMoreThanThreeZerosAreNoPadding) {
  EXPECT_EQ(data_for("text\0\0\0\0"s), "<8 bytes: 74657874 00000000>");
  EXPECT_EQ(data_for("\0\0\0\0"s), "<4 bytes: 00000000>");
  EXPECT_EQ(data_for("te\0t"s), "<4 bytes: 74650074>");
}

TEST(Bytes, AreWhatIsNotUtf8) {
  EXPECT_EQ(data_for("ab\xC0\xAF"), "<4 bytes: 6162c0af>");        // overlong
  EXPECT_EQ(data_for("a\xE0\x80\xAF"), "<4 bytes: 61e080af>");     // overlong
  EXPECT_EQ(data_for("\xF0\x80\x80\xAF"), "<4 bytes: f08080af>");  // overlong
  EXPECT_EQ(data_for("a\xED\xA0\x80"), "<4 bytes: 61eda080>");     // a surrogate
  EXPECT_EQ(data_for("\xF4\x90\x80\x80"), "<4 bytes: f4908080>");  // beyond the last code point
  EXPECT_EQ(data_for("\xFC\x80\x80\x80"), "<4 bytes: fc808080>");  // no lead byte
  EXPECT_EQ(data_for("abc\xC3"), "<4 bytes: 616263c3>");           // cut off
  EXPECT_EQ(data_for("ab\xC3."), "<4 bytes: 6162c32e>");           // cut off
  EXPECT_EQ(data_for("abc\x80"), "<4 bytes: 61626380>");           // no lead byte
}

TEST(Bytes, AreControlCharactersThatOccurInNoText) {
  EXPECT_EQ(data_for("abc\x7F"), "<4 bytes: 6162637f>");
  EXPECT_EQ(data_for("abc\x01"), "<4 bytes: 61626301>");
  EXPECT_EQ(data_for("ab\xC2\x9B"), "<4 bytes: 6162c29b>");  // as ESC [ to some terminals
}

}  // namespace
}  // namespace vesk::test
