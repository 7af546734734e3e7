// What a walk over the bytes of a log file yields, and where and why it stops.
#include "reader/vesk_ring_walk.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/file_bytes.h"

namespace vesk::test {
namespace {

using namespace std::string_literals;

ring_bytes bytes_of(const std::string &file) {
  return {reinterpret_cast<const uint8_t *>(file.data()), file.size()};
}

// The entries as "offset:uuid/type/size", and the damage as "!offset reason".
std::string walked(const std::string &file, uint32_t capacity = unknown_capacity,
                   null_entries nulls = null_entries::skip) {
  std::string seen;
  const auto add = [&](const std::string &text) { seen += (seen.empty() ? "" : " ") + text; };
  ring_walk walk = begin_walk(bytes_of(file), capacity, nulls);
  while (const auto entry = next_entry(walk)) {
    add(std::to_string(entry->offset) + ":" + std::to_string(entry->uuid) + "/" +
        std::to_string(entry->type) + "/" + std::to_string(entry->data.size()));
  }
  if (walk.damage) add("!" + std::to_string(walk.damage->offset) + " " + walk.damage->reason);
  return seen;
}

const std::string three = alpha() + beta() + gamma_ray();  // 20, 48, 72, up to 104

// --- sound rings ---

TEST(Walk, empty_ring_has_no_entries_and_no_damage) {
  EXPECT_EQ(walked(gheader(120, 20, 20, 0x148F)), "");
}

TEST(Walk, ring_that_is_not_wrapped_runs_from_start_to_end) {
  EXPECT_EQ(walked(gheader(120, 20, 104, 0x143B) + three),
            "20:677/1024/8 48:80/1025/4 72:510/2000/12");
}

TEST(Walk, discarded_entries_before_start_are_not_shown) {
  EXPECT_EQ(walked(gheader(120, 48, 104, 0x141F) + three), "48:80/1025/4 72:510/2000/12");
}

TEST(Walk, what_lies_behind_end_is_not_shown) {
  EXPECT_EQ(walked(gheader(120, 20, 72, 0x145B) + three), "20:677/1024/8 48:80/1025/4");
}

TEST(Walk, wrapped_ring_goes_on_behind_the_global_header) {
  const std::string file =
      gheader(120, 64, 52, 0x1443) + gamma_ray() + stale(12) + alpha() + null8();
  EXPECT_EQ(walked(file), "64:677/1024/8 20:510/2000/12");
  EXPECT_EQ(walked(file, 120, null_entries::show), "64:677/1024/8 92:293/0/8 20:510/2000/12");
}

TEST(Walk, wrapped_ring_whose_end_is_the_first_slot_stops_at_the_capacity) {
  EXPECT_EQ(walked(gheader(120, 64, 20, 0x1463) + stale(44) + alpha() + null8()), "64:677/1024/8");
}

TEST(Walk, entry_that_ends_exactly_at_the_capacity_wraps) {
  EXPECT_EQ(walked(gheader(120, 92, 52, 0x1427) + gamma_ray() + stale(40) + alpha()),
            "92:677/1024/8 20:510/2000/12");
}

TEST(Walk, start_twenty_four_bytes_below_the_capacity_is_the_last_one_that_goes) {
  EXPECT_EQ(walked(gheader(120, 96, 52, 0x1423) + gamma_ray() + stale(44) + beta()),
            "96:80/1025/4 20:510/2000/12");
}

TEST(Walk, end_may_be_the_capacity) {
  EXPECT_EQ(walked(gheader(120, 20, 120, 0x142B) + beta() + gamma_ray() +
                   entry({.type = 1026}, "twenty-four bytes of it.")),
            "20:80/1025/4 44:510/2000/12 76:677/1026/24");
}

TEST(Walk, null_entries_are_skipped_among_others) {
  const std::string file = gheader(120, 20, 100) + alpha() + null8() + beta();
  EXPECT_EQ(walked(file), "20:677/1024/8 76:80/1025/4");
  EXPECT_EQ(walked(file, 120, null_entries::show), "20:677/1024/8 48:293/0/8 76:80/1025/4");
}

TEST(Walk, type_zero_alone_makes_a_null_entry) {
  const std::string file =
      gheader(120, 20, 68) +
      entry({.uuid = 700, .type = 0, .sum = 0x6849, .secs = noon + 4}, "data") + beta();
  EXPECT_EQ(walked(file), "44:80/1025/4");
  EXPECT_EQ(walked(file, 120, null_entries::show), "20:700/0/4 44:80/1025/4");
}

TEST(Walk, entry_carries_the_fields_of_its_header_and_its_padding) {
  const std::string file = gheader(120, 20, 52) + gamma_ray();
  ring_walk walk = begin_walk(bytes_of(file), 120);
  const auto entry = next_entry(walk);
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->offset, 20u);
  EXPECT_EQ(entry->uuid, 510);
  EXPECT_EQ(entry->type, 2000);
  EXPECT_EQ(entry->flags, 7);
  EXPECT_EQ(entry->prev_size, 8);
  EXPECT_EQ(entry->secs, 1714564802u);
  EXPECT_EQ(entry->usecs, 999999u);
  EXPECT_EQ(std::string(entry->data.begin(), entry->data.end()), "gamma ray\0\0\0"s);
}

TEST(Walk, entry_without_data_is_an_entry) {
  EXPECT_EQ(walked(gheader(120, 20, 64) +
                   entry({.type = 1026, .sum = 0x645C, .secs = noon + 5, .usecs = 5}, "") + beta()),
            "20:677/1026/0 40:80/1025/4");
}

TEST(Walk, ended_walk_stays_ended) {
  const std::string file = gheader(120, 20, 48) + alpha();
  ring_walk walk = begin_walk(bytes_of(file), 120);
  EXPECT_TRUE(next_entry(walk));
  EXPECT_FALSE(next_entry(walk));
  EXPECT_FALSE(next_entry(walk));
  EXPECT_FALSE(walk.damage);
}

// --- global headers that cannot be trusted ---

TEST(Walk, empty_file) {
  EXPECT_EQ(walked(""), "!0 the file is empty");
}

TEST(Walk, file_that_ends_inside_its_global_header) {
  EXPECT_EQ(walked(gheader(120, 20, 20).substr(0, 19)),
            "!19 the file ends inside its global header");
}

TEST(Walk, file_of_another_kind) {
  EXPECT_EQ(walked("a line of text in a file that has no place here\n"),
            "!0 not a log file: it does not begin with \"vesk\"");
}

TEST(Walk, version_that_is_not_known) {
  std::string file = gheader(120, 20, 104, 0x133B) + three;  // the sum is right for version 2
  file[4] = 2;
  EXPECT_EQ(walked(file), "!4 format version 2 is not known");
}

TEST(Walk, global_header_whose_checksum_does_not_hold) {
  EXPECT_EQ(walked(gheader(120, 20, 104, 0x143C) + three),
            "!6 the checksum of the global header does not hold");
}

TEST(Walk, start_within_twenty_bytes_of_the_capacity) {
  EXPECT_EQ(walked(gheader(120, 100, 104, 0x13EB) + three),
            "!12 start 100 is no place for an entry in a ring of 120 bytes");
}

TEST(Walk, start_beyond_the_capacity) {
  EXPECT_EQ(walked(gheader(120, 0xFFFFFFF0, 104, 0x145E) + three),
            "!12 start 4294967280 is no place for an entry in a ring of 120 bytes");
}

// The global header has the checksum of an entry header, and would pass for one.
TEST(Walk, start_inside_the_global_header) {
  EXPECT_EQ(walked(gheader(120, 0, 104, 0x144F) + three),
            "!12 start 0 is no place for an entry in a ring of 120 bytes");
  EXPECT_EQ(walked(gheader(120, 19, 104, 0x143C) + three),
            "!12 start 19 is no place for an entry in a ring of 120 bytes");
}

TEST(Walk, capacity_too_small_for_anything) {
  EXPECT_EQ(walked(gheader(10, 5, 7, 0x1519) + three),
            "!12 start 5 is no place for an entry in a ring of 10 bytes");
}

TEST(Walk, end_beyond_the_capacity) {
  EXPECT_EQ(walked(gheader(120, 20, 121, 0x142A) + three),
            "!16 end 121 lies outside a ring of 120 bytes");
}

TEST(Walk, end_inside_the_global_header) {
  EXPECT_EQ(walked(gheader(120, 20, 19, 0x1490) + three),
            "!16 end 19 lies outside a ring of 120 bytes");
}

TEST(Walk, start_and_end_at_one_place_behind_the_first_slot) {
  EXPECT_EQ(walked(gheader(120, 60, 60, 0x143F) + three),
            "!12 start and end are both 60: no entry can be reached");
}

// --- headers that claim what the file does not bear out ---

TEST(Walk, capacity_of_another_file_is_reported_behind_the_entries) {
  EXPECT_EQ(walked(gheader(120, 20, 104) + three, 262144),
            "20:677/1024/8 48:80/1025/4 72:510/2000/12 "
            "!8 capacity 120 is not the 262144 of this file");
}

TEST(Walk, file_longer_than_its_capacity_is_reported_behind_the_entries) {
  EXPECT_EQ(walked(gheader(120, 20, 104) + three + stale(20)),
            "20:677/1024/8 48:80/1025/4 72:510/2000/12 "
            "!120 the file goes on beyond its capacity of 120 bytes");
}

TEST(Walk, damage_in_the_chain_is_reported_before_a_false_claim) {
  EXPECT_EQ(walked(gheader(120, 20, 104) + alpha() + stale(56), 262144),
            "20:677/1024/8 !48 the checksum of the entry header does not hold");
}

// --- chains that break ---

TEST(Walk, entry_header_whose_checksum_does_not_hold) {
  std::string broken = beta();
  broken[7] ^= 1;
  EXPECT_EQ(walked(gheader(120, 20, 104) + alpha() + broken + gamma_ray()),
            "20:677/1024/8 !48 the checksum of the entry header does not hold");
}

TEST(Walk, entry_header_of_zeros) {
  EXPECT_EQ(walked(gheader(120, 20, 104) + alpha() + std::string(56, '\0')),
            "20:677/1024/8 !48 the checksum of the entry header does not hold");
}

TEST(Walk, file_cut_in_the_data_of_the_last_entry) {
  EXPECT_EQ(walked((gheader(120, 20, 104) + three).substr(0, 103)),
            "20:677/1024/8 48:80/1025/4 !72 the entry runs to 104, but the file ends at 103");
}

TEST(Walk, file_cut_in_the_header_of_the_last_entry) {
  EXPECT_EQ(walked((gheader(120, 20, 104) + three).substr(0, 91)),
            "20:677/1024/8 48:80/1025/4 "
            "!72 the entry header is cut off: the file ends at 91");
}

TEST(Walk, file_cut_between_two_entries) {
  EXPECT_EQ(walked((gheader(120, 20, 104) + three).substr(0, 72)),
            "20:677/1024/8 48:80/1025/4 !72 no entry: the file ends at 72");
}

TEST(Walk, wrapped_file_that_was_cut) {
  const std::string file = gheader(120, 64, 52) + gamma_ray() + stale(12) + alpha() + null8();
  EXPECT_EQ(walked(file.substr(0, 119)),
            "64:677/1024/8 !92 the entry runs to 120, but the file ends at 119");
}

TEST(Walk, start_beyond_the_end_of_the_file) {
  EXPECT_EQ(walked(gheader(4096, 2000, 104, 0xFCF6) + three),
            "!2000 no entry: the file ends at 104");
}

TEST(Walk, end_beyond_the_end_of_the_file) {
  EXPECT_EQ(walked(gheader(4096, 20, 3000) + three),
            "20:677/1024/8 48:80/1025/4 72:510/2000/12 !104 no entry: the file ends at 104");
}

TEST(Walk, capacity_far_beyond_the_file) {
  EXPECT_EQ(walked(gheader(0xFFFFFFFF, 64, 52, 0x14BB) + gamma_ray() + stale(12) + alpha()),
            "64:677/1024/8 !92 no entry: the file ends at 92");
}

TEST(Walk, largest_size_in_an_entry_header) {
  EXPECT_EQ(walked(gheader(120, 20, 48) +
                   entry({.size = 65535, .sum = 0x6467, .secs = noon, .usecs = 1}, "alpha...")),
            "!20 the entry runs to 65575, but the file ends at 48");
}

TEST(Walk, chain_that_steps_over_the_end) {
  EXPECT_EQ(walked(gheader(120, 20, 100, 0x143F) + three),
            "20:677/1024/8 48:80/1025/4 72:510/2000/12 "
            "!72 the entry runs to 104, over the ring's end 100");
}

TEST(Walk, chain_that_steps_over_the_capacity) {
  EXPECT_EQ(walked(gheader(110, 64, 52) + gamma_ray() + stale(12) + alpha() + beta()),
            "64:677/1024/8 92:80/1025/4 !92 the entry runs to 116, over the ring's capacity 110");
}

// Sound entries all around, and an end that no entry reaches: the walk must not go round for ever.
TEST(Walk, chain_that_never_reaches_the_end) {
  const std::string circle = three.substr(0, 52) + alpha() + entry({.type = 1026}, "");
  EXPECT_EQ(walked(gheader(120, 72, 60) + circle),
            "72:677/1024/8 100:677/1026/0 20:677/1024/8 48:80/1025/4 "
            "!48 the entry runs to 72, over the ring's end 60");
}

// --- time stamps ---

// The entries' stamps as "secs.usecs", and behind each in brackets by how much it was set back.
std::string stamps(const std::string &file) {
  std::string seen;
  ring_walk walk = begin_walk(bytes_of(file), unknown_capacity);
  while (const auto entry = next_entry(walk)) {
    seen += std::to_string(entry->secs) + "." + std::to_string(entry->usecs) + "[" +
            std::to_string(entry->set_back_usecs) + "] ";
  }
  return seen;
}

uint64_t stamp_at(uint32_t secs, uint32_t usecs) {
  ring_entry entry{};
  entry.secs = secs;
  entry.usecs = usecs;
  return stamp_of(entry);
}

std::string stamped(uint32_t secs, uint32_t usecs) {
  return entry({.secs = secs, .usecs = usecs}, "");
}

TEST(Stamp, counts_microseconds_since_1970) {
  EXPECT_EQ(stamp_at(0, 0), 0u);
  EXPECT_EQ(stamp_at(2, 999999), 2999999u);
  EXPECT_EQ(stamp_at(4294967295, 1), 4294967295000001u);
}

TEST(Stamp, leaves_out_microseconds_that_are_no_fraction) {
  EXPECT_EQ(stamp_at(2, 1000000), 2000000u);
  EXPECT_EQ(stamp_at(2, 4294967295), 2000000u);
}

TEST(Stamp, that_steps_back_says_by_how_much) {
  EXPECT_EQ(stamps(file_of(stamped(100, 500) + stamped(100, 499) + stamped(90, 600) +
                           stamped(90, 600) + stamped(95, 0))),
            "100.500[0] 100.499[1] 90.600[9999899] 90.600[0] 95.0[0] ");
}

TEST(Stamp, is_compared_across_null_entries_and_the_wrap) {
  EXPECT_EQ(stamps(gheader(120, 64, 52) + gamma_ray() + stale(12) +
                   entry({.secs = noon + 5}, "12345678") + null8()),
            "1714564805.0[0] 1714564802.999999[2000001] ");
}

TEST(Walk, entry_is_found_again_by_its_offset) {
  const std::string file = gheader(120, 20, 104) + three;
  const ring_entry found = entry_at(bytes_of(file), 48);
  EXPECT_EQ(found.offset, 48u);
  EXPECT_EQ(found.uuid, 80);
  EXPECT_EQ(found.type, 1025);
  EXPECT_EQ(found.secs, 1714564801u);
  EXPECT_EQ(found.usecs, 250000u);
  EXPECT_EQ(std::string(found.data.begin(), found.data.end()), "beta");
}

// --- walks that are resumed ---

std::string resumed(const std::string &file, const ring_state &ring, uint32_t offset) {
  std::string seen;
  ring_walk walk = resume_walk(bytes_of(file), ring, offset, 1'714'564'803'000'000);
  while (const auto entry = next_entry(walk)) {
    seen += std::to_string(entry->offset) + "[" + std::to_string(entry->set_back_usecs) + "] ";
  }
  return seen + (walk.damage ? "!" + std::to_string(walk.damage->offset) : "");
}

TEST(ResumedWalk, goes_from_its_offset_to_the_end) {
  const std::string file = gheader(120, 20, 104) + three;
  EXPECT_EQ(resumed(file, {120, 20, 104}, 48), "48[1750000] 72[0] ");
  EXPECT_EQ(resumed(file, {120, 20, 104}, 104), "");
}

TEST(ResumedWalk, goes_around_the_end_of_the_ring) {
  const std::string file = gheader(120, 64, 52) + gamma_ray() + stale(12) + alpha() + null8();
  EXPECT_EQ(resumed(file, {120, 64, 52}, 64), "64[2999999] 20[0] ");
  EXPECT_EQ(resumed(file, {120, 64, 52}, 92), "20[1] ");
  EXPECT_EQ(resumed(file, {120, 64, 52}, 20), "20[1] ");
  EXPECT_EQ(resumed(file, {120, 64, 52}, 52), "");
}

TEST(ResumedWalk, goes_on_at_the_first_slot_where_the_last_entry_ended_at_the_capacity) {
  const std::string file = gheader(120, 92, 52) + gamma_ray() + stale(40) + alpha();
  EXPECT_EQ(resumed(file, {120, 92, 52}, 120), "20[1] ");
  EXPECT_EQ(resumed(file, {120, 92, 20}, 120), "");
}

TEST(ResumedWalk, stops_at_damage) {
  const std::string file = gheader(120, 20, 104) + alpha() + stale(56);
  EXPECT_EQ(resumed(file, {120, 20, 104}, 48), "!48");
}

}  // namespace
}  // namespace vesk::test
