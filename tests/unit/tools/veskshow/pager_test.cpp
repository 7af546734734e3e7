// What goes through a pager on a terminal, and what does not.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/file_bytes.h"
#include "tests/unit/tools/veskshow/run_veskshow.h"

namespace vesk::test {
namespace {

using variables = std::map<std::string, std::string>;

class Pager : public ::testing::Test {
 protected:
  Pager() { store(path, file_of(alpha() + beta())); }

  // Everything that appears on the terminal; lines end there with a carriage return as well.
  std::string shown_with(const variables &environment, std::vector<std::string> more = {}) {
    more.insert(more.end(), {"-o", "cat", "--color=never", path});
    running_veskshow show(more, environment);
    const std::string seen = show.out();
    status = show.wait().status;
    return seen;
  }

  scratch_directory directory;
  const std::string path = directory / "ring";
  int status = -1;
};

const std::string straight = "alpha\r\nbeta\r\n";
const std::string through_sed = "[alpha]\r\n[beta]\r\n";
const std::string sed = "sed 's/.*/[&]/'";

TEST_F(Pager, is_what_the_variable_names) {
  EXPECT_EQ(shown_with({{"VESK_PAGER", sed}}), through_sed);
  EXPECT_EQ(shown_with({{"PAGER", sed}}), through_sed);
  EXPECT_EQ(shown_with({{"VESK_PAGER", sed}, {"PAGER", "false"}}), through_sed);
  EXPECT_EQ(status, 0);
}

TEST_F(Pager, is_not_used_where_nobody_wants_it) {
  EXPECT_EQ(shown_with({{"PAGER", sed}}, {"--no-pager"}), straight);
  EXPECT_EQ(shown_with({{"PAGER", sed}, {"VESK_PAGER", ""}}), straight);
  EXPECT_EQ(shown_with({{"PAGER", sed}, {"VESK_PAGER", "cat"}}), straight);
  EXPECT_EQ(shown_with({{"PAGER", ""}}), straight);
  EXPECT_EQ(shown_with({{"PAGER", sed}, {"TERM", "dumb"}}), straight);
  EXPECT_EQ(shown_with({{"PATH", "/nowhere"}}), straight);
}

TEST_F(Pager, is_not_used_for_programs) {
  for (const char *format : {"json", "export", "raw"}) {
    running_veskshow show({"-o", format, path}, {{"PAGER", "echo paged"}});
    EXPECT_EQ(show.out().find("paged"), std::string::npos) << format;
  }
}

TEST_F(Pager, is_used_for_other_jobs_too) {
  running_veskshow show({"--list", path}, {{"PAGER", "echo paged; cat >/dev/null"}});
  EXPECT_EQ(show.out(), "paged\r\n");
}

TEST_F(Pager, gets_problems_behind_what_is_shown) {
  store(path, gheader(8192, 20, 72) + alpha() + stale(24));
  EXPECT_EQ(shown_with({{"PAGER", sed}}),
            "[alpha]\r\n[veskshow: " + path +
                ": offset 48: the checksum of the entry header does not hold]\r\n"
                "[-- Entries behind damage are not shown; try --verify and --salvage --]\r\n");
  EXPECT_EQ(status, 1);
}

TEST_F(Pager, lets_colours_through) {
  running_veskshow show({"--utc", path}, {{"PAGER", "sed -n '/\\x1b/s/.*/colours/p'"}});
  EXPECT_EQ(show.out(), "colours\r\ncolours\r\n");
}

TEST_F(Pager, finds_options_for_less) {
  EXPECT_EQ(shown_with({{"PAGER", "cat >/dev/null; echo $LESS"}}), "FRSXMK\r\n");
  EXPECT_EQ(shown_with({{"PAGER", "cat >/dev/null; echo $LESS"}, {"LESS", "R"}}), "R\r\n");
}

TEST_F(Pager, is_less_where_nothing_else_is_named) {
  std::filesystem::create_directory(directory / "bin");
  const std::string less = directory / "bin/less";
  std::ofstream(less) << "#!/bin/sh\nexec /bin/sed 's/.*/less: &/'\n";
  std::filesystem::permissions(less, std::filesystem::perms::all);
  EXPECT_EQ(shown_with({{"PATH", "/nowhere:" + (directory / "bin")}}),
            "less: alpha\r\nless: beta\r\n");
}

TEST_F(Pager, is_awaited) {
  EXPECT_EQ(shown_with({{"PAGER", "cat; sleep 0.3; echo end"}}), straight + "end\r\n");
  EXPECT_EQ(status, 0);
}

TEST_F(Pager, may_be_left_before_the_end) {
  std::string entries;
  while (entries.size() < 1'000'000) entries += alpha();
  store(path, gheader(1048576, 20, static_cast<uint32_t>(20 + entries.size())) + entries);
  EXPECT_EQ(shown_with({{"PAGER", "head -n 1; sleep 0.3; echo left"}}), "alpha\r\nleft\r\n");
  EXPECT_EQ(status, 0);
}

TEST_F(Pager, has_the_keyboards_interrupt_to_itself) {
  running_veskshow show({"-o", "cat", path},
                        {{"PAGER", "trap 'echo got it' INT; cat; echo ready; sleep 5; echo end"}});
  show.out("ready");
  show.type("\x03");
  EXPECT_NE(show.out().find("got it\r\nend\r\n"), std::string::npos);
  EXPECT_EQ(show.wait().status, 0);
}

TEST_F(Pager, that_cannot_be_run_is_a_problem) {
  const std::string seen = shown_with({{"PAGER", "/nowhere/pager"}});
  EXPECT_NE(seen.find("/nowhere/pager: not found"), std::string::npos) << seen;
  EXPECT_EQ(status, 1);
}

}  // namespace
}  // namespace vesk::test
