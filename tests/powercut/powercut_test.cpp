// The tool that lets the power go, itself under test: the cuts it makes, what it takes for lost,
// and what it complains of.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/powercut/enumerate.h"
#include "tests/powercut/show.h"
#include "tests/support/ring_builder.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

image bytes_of(std::string_view text) {
  return {text.begin(), text.end()};
}

std::string text_of(const maybe_image &file) {
  if (!file) return "(no file)";
  std::string text;
  for (const uint8_t byte : *file) text += byte == 0 ? '0' : static_cast<char>(byte);
  return text;
}

TEST(PowerCut, in_order_comes_before_the_first_byte_and_after_each) {
  const std::vector<flash_write> writes{{0, bytes_of("abc")}, {8, bytes_of("de")}};
  EXPECT_THAT(cuts_in_order(writes),
              ElementsAre(power_cut{0, 0, 0}, power_cut{0, 0, 1}, power_cut{0, 0, 2},
                          power_cut{1, 1, 0}, power_cut{1, 1, 1}, power_cut{3, 2, 0}));
}

TEST(PowerCut, in_any_order_leaves_each_selection_of_writes_and_tears_one_more) {
  const std::vector<flash_write> writes{{0, bytes_of("ab")}, {2, bytes_of("cd")}};
  EXPECT_THAT(
      cuts_in_any_order(writes),
      ElementsAre(power_cut{0, 0, 0}, power_cut{0, 0, 1}, power_cut{0, 1, 1}, power_cut{1, 0, 0},
                  power_cut{1, 1, 1}, power_cut{2, 0, 0}, power_cut{2, 0, 1}, power_cut{3, 0, 0}));
}

TEST(PowerCut, leaves_the_old_bytes_where_nothing_arrived) {
  const std::vector<flash_write> writes{{1, bytes_of("abc")}, {4, bytes_of("de")}};
  EXPECT_EQ(text_of(after_cut(bytes_of("------"), writes, {0, 0, 2})), "-ab---");
  EXPECT_EQ(text_of(after_cut(bytes_of("------"), writes, {2, 0, 1})), "-a--de");
  EXPECT_EQ(text_of(after_cut(bytes_of("------"), writes, {3, 0, 0})), "-abcde");
}

TEST(PowerCut, leaves_zeros_in_front_of_what_arrived_behind_the_files_end) {
  const std::vector<flash_write> writes{{2, bytes_of("abc")}, {5, bytes_of("de")}};
  EXPECT_EQ(text_of(after_cut(bytes_of("--"), writes, {2, 0, 0})), "--000de");
}

TEST(PowerCut, may_leave_no_file_or_an_empty_one) {
  const std::vector<flash_write> writes{{0, {}}, {0, bytes_of("ab")}};
  EXPECT_EQ(text_of(after_cut(std::nullopt, writes, {0, 0, 0})), "(no file)");
  EXPECT_EQ(text_of(after_cut(std::nullopt, writes, {1, 0, 0})), "");
  EXPECT_EQ(text_of(after_cut(std::nullopt, writes, {1, 1, 1})), "a");
}

TEST(CutName, is_read_as_it_is_written) {
  EXPECT_EQ(as_text(*cut_name_of("0:417")), "0:417");
  EXPECT_EQ(as_text(*cut_name_of("2:417:35")), "2:417:35");
  for (const char *bad : {"", "1", "1:", ":1", "1:2:", "1:2:3:4", "1:-2", "a:b", "1:2x"}) {
    EXPECT_FALSE(cut_name_of(bad)) << bad;
  }
}

// Three entries of four bytes, at 20, 44 and 68.
image three_entries(uint32_t start = 20) {
  return ring(7).entries(3, 4).start(start).bytes();
}

std::vector<bool> discarded_of(const image &before, const image &after,
                               const std::vector<flash_write> &writes) {
  std::vector<bool> all;
  for (const entry_place &entry : readable_entries(before, 8192)) {
    all.push_back(is_discarded(entry, before, after, writes));
  }
  return all;
}

TEST(Ledger, what_is_written_over_is_discarded) {
  const image file = three_entries();
  EXPECT_THAT(discarded_of(file, file, {{44, image(1)}}), ElementsAre(false, true, false));
  EXPECT_THAT(discarded_of(file, file, {{43, image(26)}}), ElementsAre(true, true, true));
  EXPECT_THAT(discarded_of(file, file, {{44, image(24)}}), ElementsAre(false, true, false));
  EXPECT_THAT(discarded_of(file, file, {{0, image(20)}}), ElementsAre(false, false, false));
}

TEST(Ledger, what_is_given_up_is_discarded) {
  EXPECT_THAT(discarded_of(three_entries(), three_entries(68), {}), ElementsAre(true, true, false));
}

TEST(Ledger, an_entry_is_the_same_whatever_its_prev_size_and_checksum) {
  image file = three_entries();
  const std::vector<entry_place> entries = readable_entries(file, 8192);
  ASSERT_EQ(entries.size(), 3u);
  file[44 + 6] ^= 0xFF;
  file[44 + 11] ^= 0xFF;
  EXPECT_EQ(id_at(file, entries[1]), entries[1].id);
  file[44 + 20] ^= 0x01;
  EXPECT_NE(id_at(file, entries[1]), entries[1].id);
}

// An append to three entries of which the global header is torn behind its checksum, so that the
// start removes the file.
struct torn_append {
  power_case c{.file_type = 7,
               .capacity = 8192,
               .before = three_entries(),
               .operation = {{.len = 4, .data = "last"}},
               .next = {.len = 4, .data = "next"},
               .sent = {}};
  daemon_in_memory daemon{7};
  cut_state state;
  vesk::test::course course;

  torn_append() {
    const operation_run run = run_uncut(daemon, c);
    const power_cut cut{.whole = 0b011, .torn = 2, .bytes = 8};
    state = {.file = after_cut(c.before, run.writes, cut),
             .entries = entries_at(run, cut),
             .copies = {}};
    course = take_course(daemon, c, state.file);
  }
};

TEST(Losses, a_removed_file_costs_all_entries_but_with_a_copy_none) {
  const torn_append torn;
  const losses found = losses_of(torn.c, torn.state, torn.course);
  EXPECT_EQ(found.entries, 3u);
  EXPECT_EQ(found.first, 3u);
  EXPECT_EQ(found.second, 3u);
  EXPECT_EQ(found.with_search, 3u);
  EXPECT_EQ(found.with_copy, 0u);
  EXPECT_FALSE(found.refused);
  EXPECT_THAT(found.failures, IsEmpty());
  EXPECT_EQ(
      found.causes,
      (std::map<std::string, uint32_t>{
          {"first start: file removed, for it cannot be repaired: a global header that cannot "
           "be trusted is not rebuilt",
           3}}));
}

TEST(Losses, a_forecast_that_sees_no_danger_is_a_failure_and_costs_the_copy) {
  torn_append torn;
  torn.course.first_forecast.fate = file_fate::keep;
  const losses found = losses_of(torn.c, torn.state, torn.course);
  EXPECT_EQ(found.with_copy, 3u);
  EXPECT_THAT(found.failures, ElementsAre("the first start: predicted was \"keep\", but it touched "
                                          "the file"));
}

TEST(Losses, a_rebuilt_file_other_than_predicted_is_a_failure) {
  torn_append torn;
  torn.course.first_forecast.fate = file_fate::rebuild;
  torn.course.first_forecast.rebuilt = three_entries();
  torn.course.first.file = three_entries(44);
  torn.course.first.writes = {{0, image(20)}};
  EXPECT_THAT(losses_of(torn.c, torn.state, torn.course).failures,
              ElementsAre("the first start: the file is not rebuilt as was predicted"));
}

TEST(Losses, an_entry_that_the_file_and_the_copy_lack_is_gone) {
  torn_append torn;
  torn.state.entries.push_back({.id = 4711, .offset = 92, .span = 24});
  EXPECT_EQ(losses_of(torn.c, torn.state, torn.course).with_copy, 1u);
}

TEST(Losses, a_record_that_is_refused_twice_is_a_failure) {
  torn_append torn;
  torn.course.next.served = false;
  torn.course.served_again = false;
  const losses found = losses_of(torn.c, torn.state, torn.course);
  EXPECT_TRUE(found.refused);
  EXPECT_THAT(found.failures, ElementsAre("the next record is refused twice"));
}

TEST(Losses, the_own_entry_counts_once_all_of_its_writes_are_there) {
  torn_append torn;
  const operation_run run = run_uncut(torn.daemon, torn.c);
  ASSERT_EQ(run.writes.size(), 3u);
  EXPECT_EQ(entries_at(run, {.whole = 0b011, .torn = 2, .bytes = 19}).size(), 3u);
  EXPECT_EQ(entries_at(run, {.whole = 0b101, .torn = 1, .bytes = 3}).size(), 3u);
  EXPECT_EQ(entries_at(run, {.whole = 0b111, .torn = 0, .bytes = 0}).size(), 4u);
}

named_tally row(const std::string &name, uint32_t first, uint32_t with_copy = 0) {
  named_tally row{.name = name, .row = {}};
  row.row.add({.entries = 9}, name + " 0:1");
  losses found{.entries = 9, .first = first, .with_copy = with_copy};
  found.causes["by a flood"] = first;
  row.row.add(found, name + " 0:2");
  return row;
}

TEST(Table, is_no_complaint_against_itself_nor_when_less_is_lost) {
  const std::string committed = as_table({row("a", 5), row("b", 0)});
  EXPECT_THAT(complaints({row("a", 5), row("b", 0)}, committed), IsEmpty());
  EXPECT_THAT(complaints({row("a", 4), row("b", 0)}, committed), IsEmpty());
}

TEST(Table, names_the_cut_where_more_is_lost_than_committed) {
  const std::string committed = as_table({row("a", 5), row("b", 0)});
  EXPECT_THAT(complaints({row("a", 5), row("b", 1)}, committed),
              ElementsAre("b: lost 1st 1, committed are 0; most at b 0:2"));
}

TEST(Table, must_be_of_the_same_cuts) {
  named_tally more = row("a", 5);
  more.row.add({.entries = 0}, "a 0:3");
  EXPECT_THAT(complaints({more}, as_table({row("a", 5)})), ElementsAre(HasSubstr("cuts 3")));
  EXPECT_THAT(complaints({row("a", 5)}, as_table({row("b", 5)})),
              ElementsAre("a: not in the committed table", "b: committed, but not tried"));
}

TEST(Table, never_accepts_an_entry_that_cannot_be_had_at_all) {
  const std::vector<named_tally> rows{row("a", 5, 1)};
  EXPECT_THAT(complaints(rows, as_table(rows)),
              ElementsAre("a: 1 entries cannot be had at all any more; most at a 0:2"));
}

TEST(Table, tells_what_is_lost_by_what) {
  EXPECT_THAT(as_table({row("a", 5), row("b", 3)}),
              HasSubstr("\n          8          2  by a flood\n"));
}

TEST(Table, comes_through_from_another_process) {
  named_tally sent = row("a", 5);
  sent.row.failures = {"a 0:2: it burns"};
  const tally received = tally_of(as_text(sent.row));
  EXPECT_EQ(as_text(received), as_text(sent.row));
  EXPECT_EQ(received.sums[2], 5u);
  EXPECT_EQ(received.worst_cut[2], "a 0:2");
  EXPECT_EQ(received.causes.at("by a flood"), 5u);
  EXPECT_THAT(received.failures, ElementsAre("a 0:2: it burns"));
}

TEST(Cases, are_the_same_each_time) {
  const case_plan plan = planned_cases(extent::quick).at(6);
  EXPECT_EQ(make_case(plan, 0).before, make_case(plan, 0).before);
  EXPECT_NE(make_case(plan, 0).before, make_case(plan, 1).before);
}

TEST(Cases, of_the_quick_table_are_in_the_full_one_too) {
  const std::vector<case_plan> full = planned_cases(extent::full);
  for (const case_plan &plan : planned_cases(extent::quick)) {
    bool found = false;
    for (const case_plan &other : full) {
      found |= other.name == plan.name && other.length == plan.length;
    }
    EXPECT_TRUE(found) << plan.name;
  }
}

TEST(Story, shows_the_ring_at_each_step) {
  const case_plan plan = planned_cases(extent::quick).at(2);
  const std::string story = story_of(plan, *cut_name_of("0:0"));
  EXPECT_THAT(story, HasSubstr("fresh/append 0:0\nbefore: "));
  EXPECT_THAT(story, HasSubstr("first start, predicted: keep\n"));
  EXPECT_THAT(story, HasSubstr("next record: stored\n"));
  EXPECT_THROW(story_of(plan, *cut_name_of("0:1000000")), std::out_of_range);
  EXPECT_THROW(story_of(plan, *cut_name_of("99:0")), std::out_of_range);
}

}  // namespace
}  // namespace vesk::test
