// Names for numbers, and what is wrong with a file of them.
#include "tools/veskshow/names.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "tests/support/file_bytes.h"

namespace vesk::test {

using namespace veskshow;
namespace {

class Names : public ::testing::Test {
 protected:
  // Reads a file of this content; returns what is wrong with it, without its path.
  std::string read(const std::string &content) {
    store(path, content);
    names = {};
    const std::string reason = read_names(path, names).reason;
    return reason.starts_with(path) ? reason.substr(path.size()) : reason;
  }

  scratch_directory directory;
  const std::string path = directory / "names";
  name_table names;
};

TEST_F(Names, are_read_line_by_line) {
  EXPECT_EQ(read("# senders\n"
                 "uuid 677 nruda\n"
                 "\n"
                 "  uuid\t80   exception monitor \r\n"
                 "type 1024 fan speed\n"
                 "type 0 none\n"
                 "uuid 65535 last"),
            "");
  EXPECT_EQ(names.uuids, (std::map<uint16_t, std::string>{
                             {80, "exception monitor"}, {677, "nruda"}, {65535, "last"}}));
  EXPECT_EQ(names.types, (std::map<uint16_t, std::string>{{0, "none"}, {1024, "fan speed"}}));
}

TEST_F(Names, may_be_none) {
  EXPECT_EQ(read(""), "");
  EXPECT_TRUE(names.uuids.empty());
}

TEST_F(Names, may_be_in_any_language) {
  EXPECT_EQ(read("uuid 5 Lüfter\n"), "");
  EXPECT_EQ(names.uuids.at(5), "Lüfter");
}

TEST_F(Names, mistakes_are_reported_with_their_line) {
  EXPECT_EQ(read("uuid 1 a\nsender 2 b\n"),
            ":2: the line begins with neither \"uuid\" nor \"type\"");
  EXPECT_EQ(read("\n\nuuid\n"), ":3: a number from 0 to 65535 is missing");
  EXPECT_EQ(read("uuid x y\n"), ":1: a number from 0 to 65535 is missing");
  EXPECT_EQ(read("uuid 65536 y\n"), ":1: a number from 0 to 65535 is missing");
  EXPECT_EQ(read("uuid -1 y\n"), ":1: a number from 0 to 65535 is missing");
  EXPECT_EQ(read("uuid 12x y\n"), ":1: a number from 0 to 65535 is missing");
  EXPECT_EQ(read("uuid 7 \n"), ":1: a name is missing");
  EXPECT_EQ(read("uuid 7 8\n"), ":1: the name is itself a number");
  EXPECT_EQ(read("uuid 7 a\x1b[2J\n"), ":1: the name is not plain UTF-8 text");
  EXPECT_EQ(read("uuid 7 a\xff\n"), ":1: the name is not plain UTF-8 text");
  EXPECT_EQ(read("uuid 7 a\nuuid 7 b\n"), ":2: uuid 7 has a name already");
  EXPECT_EQ(read("type 7 a\ntype 8 a\n"), ":2: this is the name of type 7 already");
  EXPECT_EQ(read("type 7 a\nuuid 7 a\n"), "");
}

TEST_F(Names, are_not_read_from_anything_but_a_file) {
  EXPECT_EQ(read_names(directory / "gone", names).reason,
            (directory / "gone") + ": No such file or directory");
  EXPECT_EQ(read_names(directory.path(), names).reason, directory.path() + ": Is a directory");
  ASSERT_EQ(mkfifo((directory / "fifo").c_str(), 0600), 0);
  EXPECT_EQ(read_names(directory / "fifo", names).reason,
            (directory / "fifo") + ": Not a regular file");
  EXPECT_EQ(read(std::string((1 << 20) + 1, '\n')), ": Too large for a file of names");
}

TEST_F(Names, stand_for_numbers_and_back) {
  ASSERT_EQ(read("uuid 677 nruda\n"), "");
  EXPECT_EQ(*find_name(names.uuids, 677), "nruda");
  EXPECT_EQ(find_name(names.uuids, 80), nullptr);
  EXPECT_EQ(number_of(names.uuids, "nruda"), 677);
  EXPECT_EQ(number_of(names.uuids, "677"), 677);
  EXPECT_EQ(number_of(names.uuids, "080"), 80);
  EXPECT_EQ(number_of(names.uuids, "0"), 0);
  EXPECT_EQ(number_of(names.uuids, "65535"), 65535);
  for (const char *typed :
       {"65536", "99999999999999999999", "-1", "+1", "nrud", "NRUDA", "", "1 "}) {
    EXPECT_EQ(number_of(names.uuids, typed), std::nullopt) << typed;
  }
}

}  // namespace
}  // namespace vesk::test
