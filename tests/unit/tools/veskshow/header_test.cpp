// --header: what a global header says.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/file_bytes.h"
#include "tests/unit/tools/veskshow/run_veskshow.h"

namespace vesk::test {
namespace {

class Header : public ::testing::Test {
 protected:
  void expect_header(const std::string &name, const std::string &bytes, const std::string &lines,
                     int status = 0) {
    store(directory / name, bytes);
    const ended result = veskshow({"--header", directory / name});
    EXPECT_EQ(result.out, lines);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, status);
  }

  scratch_directory directory;
  const std::string three = alpha() + beta() + gamma_ray();
};

TEST_F(Header, of_a_ring_that_has_not_wrapped) {
  expect_header("temperature_err.log", gheader(8192, 20, 104) + three,
                "bytes: 7665736b 0100f4b2 00002000 00000014 00000068\n"
                "magic: vesk\n"
                "version: 1\n"
                "reserved: 0\n"
                "checksum: 0xf4b2\n"
                "max: 8192\n"
                "start: 20\n"
                "end: 104\n"
                "size: 104 bytes\n"
                "wrapped: no, the live entries lie from start to end\n"
                "used: 84 bytes, 1% of 8172\n"
                "room: 8088 bytes until the wrap\n"
                "trusted: yes\n");
}

TEST_F(Header, of_an_empty_ring) {
  expect_header("temperature_err.log", gheader(8192, 20, 20),
                "bytes: 7665736b 0100f506 00002000 00000014 00000014\n"
                "magic: vesk\n"
                "version: 1\n"
                "reserved: 0\n"
                "checksum: 0xf506\n"
                "max: 8192\n"
                "start: 20\n"
                "end: 20\n"
                "size: 20 bytes\n"
                "wrapped: no, the ring is empty\n"
                "used: 0 bytes, 0% of 8172\n"
                "room: 8172 bytes until the wrap\n"
                "trusted: yes\n");
}

TEST_F(Header, of_a_wrapped_ring) {
  expect_header("ring", gheader(120, 64, 52) + gamma_ray() + stale(12) + alpha() + null8(),
                "bytes: 7665736b 01001443 00000078 00000040 00000034\n"
                "magic: vesk\n"
                "version: 1\n"
                "reserved: 0\n"
                "checksum: 0x1443\n"
                "max: 120\n"
                "start: 64\n"
                "end: 52\n"
                "size: 120 bytes\n"
                "wrapped: yes, the live entries run from start to max and on from 20 to end\n"
                "used: 88 bytes, 88% of 100\n"
                "room: 12 bytes up to start, 68 bytes until the next wrap\n"
                "trusted: yes\n");
}

TEST_F(Header, is_trusted_although_the_entries_are_damaged) {
  expect_header("temperature_err.log", gheader(8192, 20, 104) + stale(84),
                "bytes: 7665736b 0100f4b2 00002000 00000014 00000068\n"
                "magic: vesk\n"
                "version: 1\n"
                "reserved: 0\n"
                "checksum: 0xf4b2\n"
                "max: 8192\n"
                "start: 20\n"
                "end: 104\n"
                "size: 104 bytes\n"
                "wrapped: no, the live entries lie from start to end\n"
                "used: 84 bytes, 1% of 8172\n"
                "room: 8088 bytes until the wrap\n"
                "trusted: yes\n");
}

// --- headers that cannot be trusted ---

TEST_F(Header, of_wrong_checksum_says_what_it_should_be) {
  std::string bytes = gheader(8192, 20, 104) + three;
  bytes[19] ^= 0x40;
  expect_header("temperature_err.log", bytes,
                "bytes: 7665736b 0100f4b2 00002000 00000014 00000028\n"
                "magic: vesk\n"
                "version: 1\n"
                "reserved: 0\n"
                "checksum: 0xf4b2 (should be 0xf4f2)\n"
                "max: 8192\n"
                "start: 20\n"
                "end: 40\n"
                "size: 104 bytes\n"
                "wrapped: -\n"
                "used: -\n"
                "room: -\n"
                "trusted: no, offset 6: the checksum of the global header does not hold\n",
                1);
}

TEST_F(Header, of_another_capacity_is_read_all_the_same) {
  expect_header("temperature_err.log", gheader(262144, 20, 104) + three,
                "bytes: 7665736b 010014af 00040000 00000014 00000068\n"
                "magic: vesk\n"
                "version: 1\n"
                "reserved: 0\n"
                "checksum: 0x14af\n"
                "max: 262144 (the catalogue says 8192)\n"
                "start: 20\n"
                "end: 104\n"
                "size: 104 bytes\n"
                "wrapped: no, the live entries lie from start to end\n"
                "used: 84 bytes, 0% of 262124\n"
                "room: 262040 bytes until the wrap\n"
                "trusted: no, offset 8: capacity 262144 is not the 8192 of this file\n",
                1);
}

TEST_F(Header, of_arbitrary_bytes) {
  expect_header("ring", stale(60),
                "bytes: da4a6ed1 da4a6ed1 da4a6ed1 da4a6ed1 da4a6ed1\n"
                "magic: \\xdaJn\\xd1 (should be vesk)\n"
                "version: 218 (should be 1)\n"
                "reserved: 74 (should be 0)\n"
                "checksum: 0x6ed1 (should be 0x0144)\n"
                "max: 3662311121\n"
                "start: 3662311121\n"
                "end: 3662311121\n"
                "size: 60 bytes\n"
                "wrapped: -\n"
                "used: -\n"
                "room: -\n"
                "trusted: no, offset 0: not a log file: it does not begin with \"vesk\"\n",
                1);
}

TEST_F(Header, of_another_version) {
  std::string bytes = gheader(8192, 20, 20);
  bytes[4] = 2;
  expect_header("ring", bytes,
                "bytes: 7665736b 0200f506 00002000 00000014 00000014\n"
                "magic: vesk\n"
                "version: 2 (should be 1)\n"
                "reserved: 0\n"
                "checksum: 0xf506 (should be 0xf406)\n"
                "max: 8192\n"
                "start: 20\n"
                "end: 20\n"
                "size: 20 bytes\n"
                "wrapped: -\n"
                "used: -\n"
                "room: -\n"
                "trusted: no, offset 4: format version 2 is not known\n",
                1);
}

TEST_F(Header, that_is_cut_off_shows_what_is_there) {
  expect_header("ring", gheader(8192, 20, 104).substr(0, 10),
                "bytes: 7665736b 0100f4b2 0000\n"
                "magic: vesk\n"
                "version: 1\n"
                "reserved: 0\n"
                "checksum: 0xf4b2\n"
                "max: -\n"
                "start: -\n"
                "end: -\n"
                "size: 10 bytes\n"
                "wrapped: -\n"
                "used: -\n"
                "room: -\n"
                "trusted: no, offset 10: the file ends inside its global header\n",
                1);
}

TEST_F(Header, of_an_empty_file) {
  expect_header("ring", "",
                "bytes: -\n"
                "magic: -\n"
                "version: -\n"
                "reserved: -\n"
                "checksum: -\n"
                "max: -\n"
                "start: -\n"
                "end: -\n"
                "size: 0 bytes\n"
                "wrapped: -\n"
                "used: -\n"
                "room: -\n"
                "trusted: no, offset 0: the file is empty\n",
                1);
}

TEST_F(Header, whose_end_lies_beyond_the_file) {
  expect_header("ring", gheader(4096, 20, 3000) + three,
                "bytes: 7665736b 0100f962 00001000 00000014 00000bb8\n"
                "magic: vesk\n"
                "version: 1\n"
                "reserved: 0\n"
                "checksum: 0xf962\n"
                "max: 4096\n"
                "start: 20\n"
                "end: 3000\n"
                "size: 104 bytes\n"
                "wrapped: no, the live entries lie from start to end\n"
                "used: 2980 bytes, 73% of 4076\n"
                "room: 1096 bytes until the wrap\n"
                "trusted: no, offset 104: the file ends before end 3000\n",
                1);
}

TEST_F(Header, of_a_wrapped_ring_that_was_cut) {
  const std::string bytes = gheader(120, 64, 52) + gamma_ray() + stale(12) + alpha() + null8();
  store(directory / "ring", bytes.substr(0, 119));
  const ended result = veskshow({"--header", directory / "ring"});
  EXPECT_TRUE(result.out.ends_with(
      "\nsize: 119 bytes\n"
      "wrapped: yes, the live entries run from start to max and on from 20 to end\n"
      "used: 88 bytes, 88% of 100\n"
      "room: 12 bytes up to start, 68 bytes until the next wrap\n"
      "trusted: no, offset 119: the ring has wrapped, but the file ends before its capacity of "
      "120\n"))
      << result.out;
  EXPECT_EQ(result.status, 1);
}

// --- several files ---

TEST_F(Header, of_several_files_stands_under_the_path) {
  store(directory / "one", gheader(8192, 20, 104) + three);
  store(directory / "two", gheader(8192, 20, 20));
  const ended result =
      veskshow({"--header", directory / "one", directory / "gone", directory / "two"});
  EXPECT_EQ(result.out, "==> " + (directory / "one") +
                            " <==\n"
                            "bytes: 7665736b 0100f4b2 00002000 00000014 00000068\n"
                            "magic: vesk\n"
                            "version: 1\n"
                            "reserved: 0\n"
                            "checksum: 0xf4b2\n"
                            "max: 8192\n"
                            "start: 20\n"
                            "end: 104\n"
                            "size: 104 bytes\n"
                            "wrapped: no, the live entries lie from start to end\n"
                            "used: 84 bytes, 1% of 8172\n"
                            "room: 8088 bytes until the wrap\n"
                            "trusted: yes\n"
                            "\n==> " +
                            (directory / "two") +
                            " <==\n"
                            "bytes: 7665736b 0100f506 00002000 00000014 00000014\n"
                            "magic: vesk\n"
                            "version: 1\n"
                            "reserved: 0\n"
                            "checksum: 0xf506\n"
                            "max: 8192\n"
                            "start: 20\n"
                            "end: 20\n"
                            "size: 20 bytes\n"
                            "wrapped: no, the ring is empty\n"
                            "used: 0 bytes, 0% of 8172\n"
                            "room: 8172 bytes until the wrap\n"
                            "trusted: yes\n");
  EXPECT_EQ(result.err, "veskshow: " + (directory / "gone") + ": No such file or directory\n");
  EXPECT_EQ(result.status, 1);
}

}  // namespace
}  // namespace vesk::test
