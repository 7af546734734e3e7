// The soak itself under test: what it sends, what it takes for true, and what it takes for a broken
// promise.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "tests/soak/audit.h"
#include "tests/soak/parts.h"
#include "tests/support/ring_builder.h"

namespace vesk::soak {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr uint64_t seed = 5;

const part wrapping{
    .name = "one full ring",
    .volumes = {{36, "btcm.log", 262144, 1000, 1}, {2, "nruda.log", 262144, 1000, 1}},
    .wraps = true,
    .senders = 2,
    .records = 1000,
    .kills = 0};

struct fields {
  uint32_t sender = 0;
  uint16_t length = 1000;
  uint8_t sync = 1;
  bool keyed = false;
  uint16_t type = 1024;
  uint8_t update = 0;
  uint8_t instance = 0;
};

// Two senders' records as a test lets them be sent, and what the files then show.
class Auditing : public ::testing::Test {
 protected:
  author sent(standing what, fields of) {
    const author who{of.sender, notes_.begun(of.sender)};
    sent_record &note = notes_.at(who.sender, who.number);
    note.sent = notes_.now();
    note.done = notes_.now();
    note.secs = 1000 + who.number;
    note.usecs = 7;
    note.length = of.length;
    note.type = of.type;
    note.file_type = 36;
    note.sync = of.sync;
    note.update = of.update;
    note.instance = of.instance;
    note.keyed = of.keyed;
    note.what = what;
    return who;
  }
  author stored(fields of = {}) { return sent(standing::stored, of); }
  author update(standing what, uint8_t instance = 0) {
    return sent(what, {.keyed = true, .type = 2000, .update = 1, .instance = instance});
  }

  // A death, and a look at what then is there.
  void die() { audit_.death(notes_.now()); }
  void look(sighting seen) {
    evidence found;
    found.files[36] = std::move(seen);
    found.files[2] = other_;
    found.search_file = [&](uint16_t file_type) {
      return file_type == 36 ? by_search_ : std::vector<author>{};
    };
    found.search_copies = [&](uint16_t file_type) {
      return file_type == 36 ? in_copies_ : std::vector<author>{};
    };
    audit_.look(found, notes_.now());
  }
  void look_after_death(sighting seen) {
    die();
    look(std::move(seen));
  }

  static sighting shows(std::vector<author> shown) {
    return {.found = condition::sound, .full = true, .shown = std::move(shown)};
  }
  static sighting damaged(std::vector<author> shown = {}) {
    return {
        .found = condition::damaged, .full = true, .reason = "it burns", .shown = std::move(shown)};
  }
  untrue_entry half_of(author who) const {
    const sent_record &note = notes_.at(who.sender, who.number);
    return {4711, uuid_of(who.sender), note.type, note.secs, note.usecs};
  }

  uint64_t stored_at(place where) const {
    return audit_.result().stored[static_cast<size_t>(where)];
  }

  ledger notes_{seed, wrapping.senders, wrapping.records};
  audit audit_{wrapping, notes_};
  sighting other_;
  std::vector<author> by_search_;
  std::vector<author> in_copies_;
};

TEST_F(Auditing, is_content_when_all_that_is_stored_is_shown) {
  const author one = stored();
  const author other = stored({.sender = 1, .sync = 2});
  look_after_death(shows({one, other}));
  EXPECT_THAT(audit_.failures(), IsEmpty());
  EXPECT_EQ(stored_at(place::chain), 2u);
  EXPECT_EQ(audit_.result().synchronous[static_cast<size_t>(place::chain)], 1u);
}

TEST_F(Auditing, misses_a_stored_record) {
  const author one = stored();
  stored();
  look_after_death(shows({one}));
  EXPECT_THAT(audit_.failures(), ElementsAre("death 1: btcm.log: record 1 of sender 0 was stored "
                                             "and is lost"));
  EXPECT_EQ(stored_at(place::lost), 1u);
}

TEST_F(Auditing, misses_it_in_a_file_that_is_gone) {
  stored();
  look_after_death({});
  EXPECT_EQ(audit_.failure_count(), 1u);
}

TEST_F(Auditing, wants_a_file_that_nothing_has_hit_to_show_its_records_by_itself) {
  by_search_ = {stored()};
  look_after_death(shows({}));
  EXPECT_THAT(audit_.failures(), ElementsAre(HasSubstr("was stored and is not shown any more")));
}

TEST_F(Auditing, promises_nothing_without_an_answer) {
  sent(standing::unknown, {});
  sent(standing::handed_in, {.sync = 0});
  look_after_death(shows({}));
  EXPECT_THAT(audit_.failures(), IsEmpty());
  EXPECT_EQ(audit_.result().unknown, 1u);
  EXPECT_EQ(audit_.result().unasked, 1u);
}

TEST_F(Auditing, takes_a_later_answer_for_what_wanted_none) {
  sent(standing::handed_in, {.sync = 0});
  const author answered = stored();
  look_after_death(shows({answered}));
  EXPECT_THAT(audit_.failures(), ElementsAre(HasSubstr("record 0 of sender 0")));
}

TEST_F(Auditing, takes_no_answer_behind_a_death_for_what_came_before) {
  sent(standing::handed_in, {.sync = 0});
  die();
  const author answered = stored();
  look_after_death(shows({answered}));
  EXPECT_THAT(audit_.failures(), IsEmpty());
}

TEST_F(Auditing, takes_no_answer_to_another_sender_for_it) {
  sent(standing::handed_in, {.sync = 0});
  const author answered = stored({.sender = 1});
  look_after_death(shows({answered}));
  EXPECT_THAT(audit_.failures(), IsEmpty());
}

// 262144 bytes, less 20, twice 4096 + 1020, and twice 1044 are 249804: 244 entries of 1020 bytes.
TEST_F(Auditing, lets_a_ring_discard_what_has_its_capacity_behind_it) {
  stored();
  std::vector<author> behind;
  for (int i = 0; i < 244; ++i) behind.push_back(stored());
  look_after_death(shows(behind));
  EXPECT_EQ(audit_.failure_count(), 1u) << "too early";
}

TEST_F(Auditing, lets_it_discard_that_and_nothing_else) {
  stored();
  std::vector<author> behind;
  for (int i = 0; i < 245; ++i) behind.push_back(stored());
  look_after_death(shows(behind));
  EXPECT_THAT(audit_.failures(), IsEmpty());
  EXPECT_EQ(stored_at(place::discarded), 1u);
  EXPECT_EQ(stored_at(place::chain), 245u);
}

TEST_F(Auditing, counts_nothing_as_behind_that_came_before) {
  std::vector<author> before;
  for (int i = 0; i < 300; ++i) before.push_back(stored());
  const author last = stored();
  look_after_death(shows({before.begin() + 56, before.end()}));
  EXPECT_THAT(audit_.failures(),
              ElementsAre(HasSubstr(std::to_string(last.number) + " of sender 0")));
}

TEST_F(Auditing, wants_only_the_last_update_of_an_entry) {
  update(standing::stored);
  const author last = update(standing::stored);
  look_after_death(shows({last}));
  EXPECT_THAT(audit_.failures(), IsEmpty());
  EXPECT_EQ(stored_at(place::replaced), 1u);
  EXPECT_EQ(stored_at(place::chain), 1u);
}

TEST_F(Auditing, misses_an_update_where_the_entry_has_its_old_contents) {
  const author first = update(standing::stored);
  update(standing::stored);
  look_after_death(shows({first}));
  EXPECT_EQ(audit_.failure_count(), 1u);
}

TEST_F(Auditing, knows_which_of_several_entries_an_update_replaces) {
  std::vector<author> entries;
  for (int i = 0; i < 3; ++i) entries.push_back(stored({.keyed = true, .type = 2000}));
  const author second = update(standing::stored, 2);
  const author last = update(standing::stored, 4);
  look_after_death(shows({entries[0], second, last}));
  EXPECT_THAT(audit_.failures(), IsEmpty());
  look_after_death(shows({second, entries[1], last}));
  EXPECT_THAT(audit_.failures(), ElementsAre(HasSubstr("record 0 of sender 0")));
}

TEST_F(Auditing, accepts_an_update_without_answer_in_place_of_the_one_before) {
  update(standing::stored);
  const author later = update(standing::unknown);
  look_after_death(shows({later}));
  EXPECT_THAT(audit_.failures(), IsEmpty());
  EXPECT_EQ(stored_at(place::replaced), 1u);
}

TEST_F(Auditing, accepts_half_an_update_that_was_being_written) {
  update(standing::stored);
  const author later = update(standing::under_way);
  sighting seen = shows({});
  seen.untrue = {half_of(later)};
  look_after_death(seen);
  EXPECT_THAT(audit_.failures(), IsEmpty());
  EXPECT_EQ(stored_at(place::cut_off), 1u);
  EXPECT_EQ(audit_.result().half_written, 1u);
}

TEST_F(Auditing, accepts_no_more_half_entries_than_there_were_deaths) {
  sighting seen = shows({});
  seen.untrue = {half_of(sent(standing::unknown, {})),
                 half_of(sent(standing::unknown, {.sender = 1}))};
  look_after_death(seen);
  EXPECT_THAT(audit_.failures(), ElementsAre(HasSubstr("an entry is shown that nobody sent")));
}

TEST_F(Auditing, accepts_no_entry_that_nobody_sent_nor_half_of_what_was_stored) {
  const author one = stored();
  sighting seen = shows({one});
  seen.untrue = {{20, 100, 1024, 1, 1}, half_of(one)};
  look_after_death(seen);
  EXPECT_EQ(audit_.failure_count(), 2u);
}

TEST_F(Auditing, accepts_no_record_twice_or_out_of_order) {
  const author first = stored();
  const author second = stored();
  look_after_death(shows({first, second, second}));
  EXPECT_THAT(audit_.failures(), ElementsAre(HasSubstr("record 1 of sender 0 is shown behind "
                                                       "record 1")));
  look_after_death(shows({second, first}));
  EXPECT_EQ(audit_.failure_count(), 2u);
}

TEST_F(Auditing, takes_a_search_or_a_copy_for_what_was_in_a_ring_that_a_death_hit) {
  const author found = stored();
  const author copied = stored();
  by_search_ = {found};
  in_copies_ = {copied};
  look_after_death(damaged());
  EXPECT_THAT(audit_.failures(), IsEmpty());
  EXPECT_THAT(audit_.hits(), ElementsAre("death 1: btcm.log is damaged: it burns"));
  EXPECT_EQ(stored_at(place::search), 1u);
  EXPECT_EQ(stored_at(place::copy), 1u);
}

TEST_F(Auditing, has_no_excuse_for_what_is_in_no_copy_of_a_ring_that_a_death_hit) {
  stored();
  look_after_death(damaged());
  EXPECT_THAT(audit_.failures(), ElementsAre("death 1: btcm.log: record 0 of sender 0 was stored "
                                             "and is lost"));
}

TEST_F(Auditing, excuses_what_was_sent_before_a_hit_ring_was_sound_again_and_nothing_later) {
  look_after_death(damaged());
  stored();
  look_after_death(shows({}));
  EXPECT_THAT(audit_.failures(), IsEmpty());
  EXPECT_EQ(stored_at(place::hit), 1u);
  stored();
  look_after_death(shows({}));
  EXPECT_THAT(audit_.failures(), ElementsAre("death 3: btcm.log: record 1 of sender 0 was stored "
                                             "and is lost"));
}

TEST_F(Auditing, has_no_excuse_for_a_damaged_file_that_is_not_full) {
  sighting seen = damaged();
  seen.full = false;
  look_after_death(seen);
  EXPECT_THAT(audit_.failures(),
              ElementsAre("death 1: btcm.log is damaged and not full: it burns"));
}

TEST_F(Auditing, has_no_excuse_for_two_files_damaged_by_one_death) {
  other_ = damaged();
  look_after_death(damaged());
  EXPECT_THAT(audit_.failures(), ElementsAre("death 1: more than one file is damaged by it"));
}

TEST_F(Auditing, has_no_excuse_in_a_part_in_which_no_ring_wraps) {
  part roomy = wrapping;
  roomy.wraps = false;
  audit strict(roomy, notes_);
  for (int i = 0; i < 300; ++i) stored();
  strict.death(notes_.now());
  evidence found;
  found.files[36] = damaged();
  found.files[2] = {};
  found.search_file = found.search_copies = [](uint16_t) { return std::vector<author>{}; };
  strict.look(found, notes_.now());
  EXPECT_EQ(strict.failure_count(), 301u);
  EXPECT_EQ(strict.result().stored[static_cast<size_t>(place::lost)], 300u);
}

TEST_F(Auditing, lets_records_be_dropped_once_where_a_death_left_a_file_without_its_header) {
  look_after_death({.found = condition::stub});
  sent(standing::refused, {});
  stored();
  look_after_death({});
  EXPECT_THAT(audit_.failures(), IsEmpty());
  EXPECT_EQ(stored_at(place::cut_off), 1u);
  sent(standing::refused, {});
  stored();
  look_after_death({});
  EXPECT_THAT(audit_.failures(),
              ElementsAre("death 3: btcm.log: record 2 of sender 0 was refused",
                          "death 3: btcm.log: record 3 of sender 0 was stored and is lost"));
}

TEST_F(Auditing, lets_nothing_be_lost_that_was_there_before_the_header_was) {
  stored();
  look_after_death({.found = condition::stub});
  EXPECT_EQ(audit_.failure_count(), 1u);
}

// --- what files show -----------------------------------------------------------------------------

class Sighted : public Auditing {
 protected:
  static constexpr uint32_t data_at = 40;

  // A ring with one entry as the first record of the first sender would make it.
  std::vector<uint8_t> image_of(author who, std::vector<uint8_t> data) const {
    const sent_record &note = notes_.at(who.sender, who.number);
    return test::ring(36)
        .entry({.uuid = uuid_of(who.sender),
                .type = note.type,
                .size = static_cast<uint16_t>(data.size()),
                .flags = static_cast<uint8_t>(who.number),
                .secs = note.secs,
                .usecs = note.usecs})
        .patch(data_at, data)
        .make()
        .bytes();
  }
  sighting sight(const std::vector<uint8_t> &image) const {
    return look_at(image, wrapping.volumes[0], notes_);
  }
};

TEST_F(Sighted, record_is_true_if_it_is_the_same_byte_for_byte) {
  const author who = stored({.length = 39});
  std::vector<uint8_t> data = content_of(seed, 0, 0, 39);
  data.push_back(0);
  const sighting seen = sight(image_of(who, data));
  EXPECT_EQ(seen.found, condition::sound);
  ASSERT_EQ(seen.shown.size(), 1u);
  EXPECT_EQ(seen.shown[0].number, 0u);
  EXPECT_THAT(seen.untrue, IsEmpty());
}

TEST_F(Sighted, any_other_byte_makes_it_untrue) {
  const author who = stored({.length = 39});
  std::vector<uint8_t> whole = content_of(seed, 0, 0, 39);
  whole.push_back(0);
  for (size_t i = 0; i < whole.size(); ++i) {
    std::vector<uint8_t> changed = whole;
    changed[i] ^= 0x40;
    const sighting seen = sight(image_of(who, changed));
    EXPECT_THAT(seen.shown, IsEmpty()) << i;
    EXPECT_THAT(seen.untrue, ElementsAre(untrue_entry{20, 100, 1024, 1000, 7})) << i;
  }
}

TEST_F(Sighted, entry_that_is_longer_or_shorter_is_untrue) {
  const author who = stored({.length = 40});
  for (const size_t size : {36u, 44u}) {
    std::vector<uint8_t> data = content_of(seed, 0, 0, 40);
    data.resize(size);
    EXPECT_THAT(sight(image_of(who, data)).shown, IsEmpty()) << size;
  }
}

TEST_F(Sighted, record_of_another_file_or_that_nobody_has_sent_yet_is_untrue) {
  const author who = stored({.length = 40});
  const std::vector<uint8_t> image = image_of(who, content_of(seed, 0, 0, 40));
  EXPECT_THAT(look_at(image, wrapping.volumes[1], notes_).shown, IsEmpty());
  EXPECT_THAT(sight(image_of(who, content_of(seed, 0, 1, 40))).shown, IsEmpty());
  EXPECT_THAT(sight(image_of(who, content_of(seed + 1, 0, 0, 40))).shown, IsEmpty());
}

TEST_F(Sighted, broken_chain_is_damage_and_the_search_still_finds_the_rest) {
  const author who = stored({.length = 40});
  std::vector<uint8_t> image = image_of(who, content_of(seed, 0, 0, 40));
  image[12] ^= 0xFF;
  const sighting seen = sight(image);
  EXPECT_EQ(seen.found, condition::damaged);
  EXPECT_NE(seen.reason, "");
  EXPECT_THAT(seen.shown, IsEmpty());
  EXPECT_EQ(search(image, wrapping.volumes[0], notes_).size(), 1u);
}

TEST_F(Sighted, file_without_its_header_is_a_stub) {
  EXPECT_EQ(sight({}).found, condition::stub);
  EXPECT_EQ(sight(std::vector<uint8_t>(19)).found, condition::stub);
}

// --- what is sent
// ----------------------------------------------------------------------------------

std::vector<wish> all_wishes(const part &of, uint64_t from, uint32_t sender) {
  wishes source(of, from, sender);
  std::vector<wish> all;
  for (wish one{}; source.next(one);) all.push_back(one);
  return all;
}

std::string as_text(const std::vector<wish> &all) {
  std::string text;
  for (const wish &one : all) {
    text += std::to_string(one.file_type) + '/' + std::to_string(one.length) + '/' +
            std::to_string(one.sync) + (one.keyed ? "k " : " ");
  }
  return text;
}

TEST(Wished, is_the_same_for_the_same_seed_part_and_sender_only) {
  const part of = parts_of(extent::quick)[1];
  const std::string text = as_text(all_wishes(of, 1, 0));
  EXPECT_EQ(as_text(all_wishes(of, 1, 0)), text);
  EXPECT_NE(as_text(all_wishes(of, 2, 0)), text);
  EXPECT_NE(as_text(all_wishes(of, 1, 1)), text);
  part renamed = of;
  renamed.name = "another";
  EXPECT_NE(as_text(all_wishes(renamed, 1, 0)), text);
}

TEST(Wished, is_of_every_kind) {
  for (const part &of : parts_of(extent::quick)) {
    std::set<uint16_t> files;
    std::set<uint8_t> kinds;
    bool keyed = false;
    for (const wish &one : all_wishes(of, 1, 0)) {
      files.insert(one.file_type);
      kinds.insert(one.sync);
      keyed |= one.keyed;
      EXPECT_GE(one.length, 16);
      EXPECT_LE(one.length, volume_of(of, one.file_type).longest);
    }
    EXPECT_EQ(files.size(), of.volumes.size());
    EXPECT_THAT(kinds, ElementsAre(0, 1, 2));
    EXPECT_TRUE(keyed);
  }
}

// With 44 bytes behind the data of the last one, as the daemon wants them.
TEST(Wished, never_fills_a_file_where_no_ring_is_to_wrap) {
  for (const part &of : parts_of(extent::full)) {
    if (of.wraps) continue;
    std::map<uint16_t, uint32_t> bytes;
    for (uint32_t sender = 0; sender < of.senders; ++sender) {
      for (const wish &one : all_wishes(of, 1, sender)) {
        bytes[one.file_type] += 20 + (one.length + 3u) / 4 * 4;
      }
    }
    for (const volume &v : of.volumes) {
      EXPECT_LE(20 + bytes[v.file_type] + v.longest + 44, v.capacity) << v.name;
      EXPECT_GT(bytes[v.file_type], v.capacity / 4) << v.name;
    }
  }
}

TEST(Content, names_its_author) {
  const std::vector<uint8_t> data = content_of(seed, 3, 77, 500);
  EXPECT_EQ(data.size(), 500u);
  author who{};
  ASSERT_TRUE(author_of(data.data(), data.size(), who));
  EXPECT_EQ(who.sender, 3u);
  EXPECT_EQ(who.number, 77u);
  EXPECT_FALSE(author_of(data.data(), 15, who));
  EXPECT_FALSE(author_of(data.data() + 1, 400, who));
}

}  // namespace
}  // namespace vesk::soak
