// The order in which the entries of several files come.
#include "reader/vesk_ring_merge.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/file_bytes.h"

namespace vesk::test {
namespace {

// An entry whose data are one letter, so many seconds behind noon.
std::string at(uint32_t second, const char *letter, uint32_t usecs = 0) {
  return entry({.secs = noon + second, .usecs = usecs}, std::string(letter) + "   ");
}

class Merge : public ::testing::Test {
 protected:
  void add(const std::string &entries) { files_.push_back(file_of(entries)); }
  void add_file(const std::string &file) { files_.push_back(file); }

  // The letters of all entries, each behind the number of its file: "0a 1b".
  std::string order() {
    std::vector<ring_walk> walks;
    for (const std::string &file : files_) {
      walks.push_back(begin_walk({reinterpret_cast<const uint8_t *>(file.data()), file.size()},
                                 unknown_capacity));
    }
    ring_merge merge(std::move(walks));
    std::string seen;
    while (const auto merged = merge.next()) {
      seen += seen.empty() ? "" : " ";
      seen += std::to_string(merged->source) + static_cast<char>(merged->entry.data[0]);
    }
    for (const ring_walk &walk : merge.walks()) {
      if (walk.damage) seen += " !" + std::to_string(walk.damage->offset);
    }
    return seen;
  }

 private:
  std::vector<std::string> files_;
};

TEST_F(Merge, of_no_file_is_empty) {
  EXPECT_EQ(order(), "");
}

TEST_F(Merge, of_one_file_is_its_ring) {
  add(at(1, "a") + at(2, "b"));
  EXPECT_EQ(order(), "0a 0b");
}

TEST_F(Merge, goes_by_time) {
  add(at(1, "a") + at(4, "b") + at(5, "c"));
  add("");
  add(at(2, "p") + at(3, "q") + at(6, "r"));
  EXPECT_EQ(order(), "0a 2p 2q 0b 0c 2r");
}

TEST_F(Merge, goes_by_microseconds) {
  add(at(1, "a", 500));
  add(at(1, "p", 499) + at(1, "q", 501));
  EXPECT_EQ(order(), "1p 0a 1q");
}

TEST_F(Merge, shows_the_first_file_first_at_one_time) {
  add(at(1, "a") + at(1, "b"));
  add(at(1, "p") + at(1, "q"));
  EXPECT_EQ(order(), "0a 0b 1p 1q");
}

TEST_F(Merge, keeps_a_rings_order_where_its_clock_steps_back) {
  add(at(10, "a") + at(5, "b") + at(6, "c") + at(20, "d"));
  add(at(7, "p") + at(12, "q"));
  EXPECT_EQ(order(), "1p 0a 0b 0c 1q 0d");
}

TEST_F(Merge, shows_a_set_back_entry_right_behind_the_one_before_it) {
  add(at(9, "a"));
  add(at(10, "p") + at(5, "q"));
  add(at(10, "x"));
  EXPECT_EQ(order(), "0a 1p 1q 2x");
}

TEST_F(Merge, goes_on_without_a_file_that_ends_in_damage) {
  add(at(1, "a") + stale(24));
  add_file(stale(40));
  add(at(2, "p"));
  EXPECT_EQ(order(), "0a 2p !44 !0");
}

}  // namespace
}  // namespace vesk::test
