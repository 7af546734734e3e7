// What is added to a log file between two looks at it.
#include "reader/vesk_ring_follow.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/support/file_bytes.h"

namespace vesk::test {
namespace {

using namespace std::chrono_literals;

// Entries of 24 bytes each: a ring of 116 bytes has them at 20, 44, 68 and 92.
std::string at(uint32_t second, const char *letter) {
  return entry({.secs = noon + second}, std::string(letter) + "   ");
}
const std::string null4 = entry({.uuid = 293, .type = 0}, std::string(4, '\0'));

class Follow : public ::testing::Test {
 protected:
  // Writes over the file in place, as the daemon does.
  void write(const std::string &bytes) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT, 0600);
    EXPECT_EQ(pwrite(fd, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    close(fd);
  }

  // What is new: the kind of news and the letters of the entries, and damage behind a "!".
  std::string look() {
    auto look = ring.look_again(now);
    std::string seen = std::string(kinds[static_cast<size_t>(look.what)]);
    while (const auto entry = next_entry(look.walk)) seen += static_cast<char>(entry->data[0]);
    if (look.what != ring_follower::news::none) ring.went(look.walk);
    if (look.walk.damage) seen += "!" + std::to_string(look.walk.damage->offset);
    return seen + look.trouble.reason;
  }

  static constexpr const char *kinds[] = {"", "more ", "anew ", "lost "};
  scratch_directory directory;
  const std::string path = directory / "ring";
  ring_follower ring{path, 116};
  ring_follower::clock::time_point now{};
};

TEST_F(Follow, shows_all_at_first_and_then_what_is_added) {
  write(gheader(116, 20, 44) + at(1, "a"));
  EXPECT_EQ(look(), "anew a");
  EXPECT_EQ(look(), "");
  write(gheader(116, 20, 92) + at(1, "a") + at(2, "b") + at(3, "c"));
  EXPECT_EQ(look(), "more bc");
  EXPECT_EQ(look(), "");
}

TEST_F(Follow, begins_with_an_empty_ring) {
  write(gheader(116, 20, 20));
  EXPECT_EQ(look(), "anew ");
  write(gheader(116, 20, 44) + at(1, "a"));
  EXPECT_EQ(look(), "more a");
}

TEST_F(Follow, goes_around_the_end_of_the_ring) {
  write(gheader(116, 20, 92) + at(1, "a") + at(2, "b") + at(3, "c"));
  EXPECT_EQ(look(), "anew abc");
  write(gheader(116, 68, 44) + at(5, "e") + at(2, "b") + at(3, "c") + at(4, "d"));
  EXPECT_EQ(look(), "more de");
  write(gheader(116, 92, 68) + at(5, "e") + at(6, "f") + at(3, "c") + at(4, "d"));
  EXPECT_EQ(look(), "more f");
}

TEST_F(Follow, passes_over_the_null_entry_at_the_end_of_the_ring) {
  write(gheader(116, 20, 92) + at(1, "a") + at(2, "b") + at(3, "c"));
  EXPECT_EQ(look(), "anew abc");
  write(gheader(116, 68, 44) + at(4, "d") + at(2, "b") + at(3, "c") + null4);
  EXPECT_EQ(look(), "more d");
}

TEST_F(Follow, goes_on_from_an_end_that_is_the_capacity) {
  write(gheader(116, 20, 116) + at(1, "a") + at(2, "b") + at(3, "c") + at(4, "d"));
  EXPECT_EQ(look(), "anew abcd");
  write(gheader(116, 68, 44) + at(5, "e") + at(2, "b") + at(3, "c") + at(4, "d"));
  EXPECT_EQ(look(), "more e");
}

TEST_F(Follow, says_when_the_ring_went_all_around) {
  write(gheader(116, 20, 92) + at(1, "a") + at(2, "b") + at(3, "c"));
  EXPECT_EQ(look(), "anew abc");
  write(gheader(116, 68, 44) + at(9, "i") + at(6, "f") + at(7, "g") + at(8, "h"));
  EXPECT_EQ(look(), "lost ghi");
}

// The offsets are those of a ring that has grown by one entry; only the entries are others.
TEST_F(Follow, is_not_taken_in_by_a_ring_that_went_around_to_the_same_place) {
  write(gheader(116, 44, 92) + at(1, "a") + at(2, "b") + at(3, "c"));
  EXPECT_EQ(look(), "anew bc");
  write(gheader(116, 44, 116) + at(5, "e") + at(6, "f") + at(7, "g") + at(8, "h"));
  EXPECT_EQ(look(), "lost fgh");
}

TEST_F(Follow, shows_all_of_a_file_that_was_cleared_and_made_anew) {
  write(gheader(116, 20, 92) + at(1, "a") + at(2, "b") + at(3, "c"));
  EXPECT_EQ(look(), "anew abc");
  std::filesystem::remove(path);
  EXPECT_EQ(look(), "No such file or directory");
  write(gheader(116, 20, 44) + at(4, "d"));
  EXPECT_EQ(look(), "anew d");
}

TEST_F(Follow, shows_all_of_a_file_that_was_cleared_between_two_looks) {
  write(gheader(116, 20, 44) + at(1, "a"));
  EXPECT_EQ(look(), "anew a");
  std::filesystem::remove(path);
  write(gheader(116, 20, 68) + at(2, "b") + at(3, "c"));
  EXPECT_EQ(look(), "anew bc");
}

TEST_F(Follow, shows_nothing_twice_when_the_file_is_away_for_a_while) {
  write(gheader(116, 20, 44) + at(1, "a"));
  EXPECT_EQ(look(), "anew a");
  std::filesystem::rename(path, directory / "away");
  EXPECT_EQ(look(), "No such file or directory");
  std::filesystem::rename(directory / "away", path);
  EXPECT_EQ(look(), "");
}

TEST_F(Follow, shows_a_file_that_appears_later) {
  EXPECT_EQ(look(), "No such file or directory");
  write(gheader(116, 20, 44) + at(1, "a"));
  EXPECT_EQ(look(), "anew a");
}

TEST_F(Follow, does_not_mind_an_update_in_place) {
  write(gheader(116, 20, 68) + at(1, "a") + at(2, "b"));
  EXPECT_EQ(look(), "anew ab");
  write(gheader(116, 20, 68) + at(1, "a") + at(9, "B"));
  EXPECT_EQ(look(), "");
  write(gheader(116, 20, 92) + at(1, "a") + at(9, "B") + at(10, "c"));
  EXPECT_EQ(look(), "more c");
}

TEST_F(Follow, carries_the_last_time_stamp_over) {
  write(gheader(116, 20, 44) + at(10, "a"));
  EXPECT_EQ(look(), "anew a");
  write(gheader(116, 20, 68) + at(10, "a") + at(7, "b"));
  auto found = ring.look_again(now);
  EXPECT_EQ(next_entry(found.walk)->set_back_usecs, 3'000'000u);
}

// A ring of 8 KiB may come to this, and is well again with its next entry.
TEST_F(Follow, waits_while_start_and_end_are_both_in_the_middle) {
  write(gheader(116, 20, 68) + at(1, "a") + at(2, "b"));
  EXPECT_EQ(look(), "anew ab");
  write(gheader(116, 92, 92) + at(1, "a") + at(2, "b") + at(3, "c"));
  EXPECT_EQ(look(), "");
  now += 10s;
  EXPECT_EQ(look(), "");
  write(gheader(116, 92, 116) + at(1, "a") + at(2, "b") + at(3, "c") + at(4, "d"));
  EXPECT_EQ(look(), "lost d");
}

// --- damage ---

TEST_F(Follow, reports_old_damage_at_once) {
  store(path, gheader(116, 20, 92) + at(1, "a") + stale(24) + at(3, "c"));
  EXPECT_EQ(look(), "anew a!44");
  EXPECT_EQ(look(), "");
}

TEST_F(Follow, goes_on_behind_old_damage) {
  store(path, gheader(116, 20, 68) + at(1, "a") + stale(24));
  EXPECT_EQ(look(), "anew a!44");
  write(gheader(116, 20, 92) + at(1, "a") + stale(24) + at(3, "c"));
  EXPECT_EQ(look(), "more c");
}

TEST_F(Follow, waits_for_an_entry_that_is_not_whole_yet) {
  write(gheader(116, 20, 44) + at(1, "a"));
  EXPECT_EQ(look(), "anew a");
  write(gheader(116, 20, 92) + at(1, "a") + at(2, "b") + stale(24));
  EXPECT_EQ(look(), "");
  now += 2s;
  EXPECT_EQ(look(), "");
  write(gheader(116, 20, 92) + at(1, "a") + at(2, "b") + at(3, "c"));
  EXPECT_EQ(look(), "more bc");
}

TEST_F(Follow, reports_lasting_damage_once_and_goes_on_behind_it) {
  write(gheader(116, 20, 44) + at(1, "a"));
  EXPECT_EQ(look(), "anew a");
  write(gheader(116, 20, 92) + at(1, "a") + at(2, "b") + stale(24));
  EXPECT_EQ(look(), "");
  now += 3s;
  EXPECT_EQ(look(), "more b!68");
  now += 10s;
  EXPECT_EQ(look(), "");
  write(gheader(116, 20, 116) + at(1, "a") + at(2, "b") + stale(24) + at(4, "d"));
  EXPECT_EQ(look(), "more d");
}

TEST_F(Follow, reports_a_lost_global_header_once_it_lasts) {
  write(gheader(116, 20, 44) + at(1, "a"));
  EXPECT_EQ(look(), "anew a");
  write(stale(20));
  EXPECT_EQ(look(), "");
  now += 3s;
  EXPECT_EQ(look(), "!0");
  now += 10s;
  EXPECT_EQ(look(), "");
  write(gheader(116, 20, 68) + at(1, "a") + at(2, "b"));
  EXPECT_EQ(look(), "more b");
}

TEST_F(Follow, survives_a_file_that_shrinks) {
  write(gheader(116, 20, 68) + at(1, "a") + at(2, "b"));
  EXPECT_EQ(look(), "anew ab");
  std::filesystem::resize_file(path, 50);
  EXPECT_EQ(look(), "");
  write(gheader(116, 20, 92));
  EXPECT_EQ(look(), "");
  now += 3s;
  EXPECT_EQ(look(), "more !68");
  std::filesystem::resize_file(path, 3);
  EXPECT_EQ(look(), "");
  now += 3s;
  EXPECT_EQ(look(), "!3");
}

TEST_F(Follow, says_why_a_file_cannot_be_read) {
  std::filesystem::create_directory(path);
  EXPECT_EQ(look(), "Is a directory");
  std::filesystem::remove(path);
  write(gheader(116, 20, 44) + at(1, "a"));
  EXPECT_EQ(look(), "anew a");
}

}  // namespace
}  // namespace vesk::test
