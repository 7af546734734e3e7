// Every problem in words.
#include "tools/shared/problem_text.h"

#include <gtest/gtest.h>

#include <string>

namespace vesk::test {

using namespace shared;
namespace {

file_forecast a_forecast() {
  file_forecast one{};
  one.header.version = 3;
  one.header.max = 8000;
  one.header.start = 40;
  one.header.end = 60;
  one.size = 104;
  one.capacity = 8192;
  one.state = {8192, 48, 76};
  return one;
}

std::string objection(finding found) {
  file_forecast one = a_forecast();
  one.objection = found;
  EXPECT_EQ(repair_failure_text(one), "");
  return objection_text(one);
}

std::string repair_failure(finding found) {
  file_forecast one = a_forecast();
  one.repair_failure = found;
  EXPECT_EQ(objection_text(one), "");
  return repair_failure_text(one);
}

TEST(ProblemText, of_what_start_up_holds_against_a_file) {
  using enum problem;
  EXPECT_EQ(objection({file_too_small}), "the file ends inside its global header");
  EXPECT_EQ(objection({unknown_version}), "format version 3 is not known");
  EXPECT_EQ(objection({bad_magic}), "it does not begin with \"vesk\"");
  EXPECT_EQ(objection({bad_gheader_sum}), "the checksum of the global header does not hold");
  EXPECT_EQ(objection({wrong_capacity}), "capacity 8000 is not the 8192 of this file");
  EXPECT_EQ(objection({end_beyond_capacity}), "end 60 lies beyond the capacity of 8000");
  EXPECT_EQ(objection({start_without_room}),
            "start 40 leaves no room for an entry up to the capacity of 8000");
  EXPECT_EQ(objection({file_ends_before_start}), "the file ends before its end 60");
  EXPECT_EQ(objection({file_ends_before_end}), "the file ends before its end 60");
  EXPECT_EQ(objection({wrapped_file_not_full}),
            "the ring has wrapped, but the file has 104 bytes, not 8192");
  EXPECT_EQ(objection({start_meets_end}), "start and end are both 40: no entry can be reached");
  EXPECT_EQ(objection({bad_entry_sum}), "the checksum of the entry header does not hold");
  EXPECT_EQ(objection({entry_unreadable}), "no entry header: the file ends at 104");
  EXPECT_EQ(objection({first_slot_unreadable}), "no entry header: the file ends at 104");
  EXPECT_EQ(objection({end_without_room}), "end 60 leaves no room for an entry in front of it");
  EXPECT_EQ(objection({no_last_entry, 40, 24}),
            "no entry header holds from here back to offset 24");
}

TEST(ProblemText, of_what_a_repair_fails_at) {
  using enum problem;
  EXPECT_EQ(repair_failure({bad_magic}), "a global header that cannot be trusted is not rebuilt");
  EXPECT_EQ(repair_failure({bad_gheader_sum}),
            "a global header that cannot be trusted is not rebuilt");
  EXPECT_EQ(repair_failure({wrong_capacity}), "a ring of another capacity is not rebuilt");
  EXPECT_EQ(repair_failure({wrapped_file_not_full}),
            "the ring has wrapped, but the file has 104 bytes, not 8192");
  EXPECT_EQ(repair_failure({file_ends_before_start}), "the file ends at 104, before its start 40");
  EXPECT_EQ(repair_failure({file_ends_before_end}), "the file ends at 104, before its end 60");
  EXPECT_EQ(repair_failure({gap_without_room, 48, 16}),
            "16 bytes of damage at offset 48 leave no room for a null entry");
  EXPECT_EQ(repair_failure({tail_without_room, 8172}),
            "the damage at offset 8172 leaves no room for a null entry up to the capacity of 8192");
  EXPECT_EQ(repair_failure({entry_beyond_capacity, 48, 8196}),
            "the entry at offset 48 runs to 8196, beyond the capacity of 8192");
  EXPECT_EQ(repair_failure({no_entry_in_damage, 20, 8192}),
            "no entry is found before the damage exceeds 8192 bytes");
  EXPECT_EQ(repair_failure({no_entry_in_file, 88}),
            "no entry is found before the file ends at 104");
  EXPECT_EQ(repair_failure({no_entries, 20}), "there is no entry in the file");
  EXPECT_EQ(repair_failure({chain_broken, 62, 76}),
            "the chain from the new start 48 breaks at offset 62, before it has passed the new "
            "end 76");
}

}  // namespace
}  // namespace vesk::test
