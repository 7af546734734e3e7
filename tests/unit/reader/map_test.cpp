// Where in a ring what lies.
#include "reader/vesk_ring_map.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/file_bytes.h"

namespace vesk::test {
namespace {

const char *name_of(ring_part part) {
  switch (part) {
    case ring_part::header:
      return "header";
    case ring_part::free:
      return "free";
    case ring_part::stale:
      return "stale";
    case ring_part::not_reached:
      return "not-reached";
    case ring_part::null:
      return "null";
    case ring_part::live:
      return "live";
    case ring_part::damage:
      return "damage";
  }
  return "?";
}

ring_map map_of(const std::string &file, uint32_t capacity = 120) {
  return map_ring({reinterpret_cast<const uint8_t *>(file.data()), file.size()}, capacity);
}

// "header 20 live 48 free 120": each stretch and where it ends; each begins where the one before it
// ends.
std::string mapped(const std::string &file, uint32_t capacity = 120) {
  std::string text;
  uint32_t last_end = 0;
  for (const ring_stretch &stretch : map_of(file, capacity).stretches) {
    if (stretch.begin != last_end) text += "from " + std::to_string(stretch.begin) + " ";
    text += std::string(text.empty() ? "" : " ") + name_of(stretch.part) + " " +
            std::to_string(stretch.end);
    last_end = stretch.end;
  }
  return text;
}

// 'h' for the header, and so on by the first letters; '~' for stale, '?' for not reached.
std::string cells(const std::string &file, uint32_t bytes_per_cell) {
  std::string text;
  for (const ring_part part : cells_of(map_of(file), bytes_per_cell)) {
    text += part == ring_part::stale         ? '~'
            : part == ring_part::not_reached ? '?'
                                             : name_of(part)[0];
  }
  return text;
}

const std::string three = alpha() + beta() + gamma_ray();
const std::string wrapped = gheader(120, 64, 52) + gamma_ray() + stale(12) + alpha() + null8();

TEST(Map, empty_ring) {
  EXPECT_EQ(mapped(gheader(120, 20, 20)), "header 20 free 120");
}

TEST(Map, ring_that_has_not_wrapped) {
  EXPECT_EQ(mapped(gheader(120, 20, 104) + three), "header 20 live 48 live 72 live 104 free 120");
}

TEST(Map, entries_that_were_given_up_and_bytes_that_are_not_counted_yet_are_stale) {
  EXPECT_EQ(mapped(gheader(120, 48, 72) + three), "header 20 stale 48 live 72 stale 104 free 120");
}

TEST(Map, ring_filled_to_its_capacity) {
  EXPECT_EQ(mapped(gheader(104, 20, 104) + three, 104), "header 20 live 48 live 72 live 104");
}

TEST(Map, wrapped_ring) {
  EXPECT_EQ(mapped(wrapped), "header 20 live 52 stale 64 live 92 null 120");
}

TEST(Map, wrapped_ring_whose_end_is_the_first_slot) {
  EXPECT_EQ(mapped(gheader(120, 64, 20) + stale(44) + alpha() + null8()),
            "header 20 stale 64 live 92 null 120");
}

TEST(Map, null_entry_in_the_middle) {
  EXPECT_EQ(mapped(gheader(120, 20, 100) + beta() + null8() + alpha()),
            "header 20 live 44 null 72 live 100 free 120");
}

// --- damage ---

TEST(Map, break_of_the_chain) {
  EXPECT_EQ(mapped(gheader(120, 20, 104) + alpha() + stale(24) + gamma_ray()),
            "header 20 live 48 damage 68 not-reached 104 free 120");
}

TEST(Map, break_at_the_first_entry) {
  EXPECT_EQ(mapped(gheader(120, 20, 48) + stale(28)),
            "header 20 damage 40 not-reached 48 free 120");
}

TEST(Map, break_before_the_wrap_leaves_all_behind_it_out) {
  EXPECT_EQ(mapped(gheader(120, 64, 52) + gamma_ray() + stale(12) + stale(28) + null8()),
            "header 20 not-reached 52 stale 64 damage 84 not-reached 120");
}

TEST(Map, break_behind_the_wrap) {
  EXPECT_EQ(mapped(gheader(120, 64, 52) + stale(44) + alpha() + null8()),
            "header 20 damage 40 not-reached 52 stale 64 live 92 null 120");
}

TEST(Map, end_too_near_for_a_header) {
  EXPECT_EQ(mapped(gheader(120, 20, 60) + alpha() + stale(72)),
            "header 20 live 48 damage 60 stale 120");
}

TEST(Map, entry_that_runs_over_the_rings_end_is_the_damage) {
  EXPECT_EQ(mapped(gheader(120, 20, 100) + three),
            "header 20 live 48 live 72 damage 100 stale 104 free 120");
}

TEST(Map, entry_that_runs_over_the_capacity_is_the_damage) {
  EXPECT_EQ(mapped(gheader(110, 64, 52) + gamma_ray() + stale(12) + alpha() + beta(), 110),
            "header 20 not-reached 52 stale 64 live 92 damage 110");
}

TEST(Map, file_cut_inside_an_entry) {
  EXPECT_EQ(mapped((gheader(120, 20, 104) + three).substr(0, 80)),
            "header 20 live 48 live 72 damage 92 not-reached 104 free 120");
}

TEST(Map, wrapped_file_that_was_cut) {
  EXPECT_EQ(mapped(wrapped.substr(0, 60)),
            "header 20 not-reached 52 stale 60 free 64 damage 84 not-reached 120");
}

TEST(Map, capacity_of_another_file_is_damage_of_the_header) {
  const std::string file = gheader(120, 20, 48) + alpha();
  EXPECT_EQ(mapped(file, 8192), "damage 20 live 48 free 120");
  ASSERT_TRUE(map_of(file, 8192).damage);
  EXPECT_EQ(map_of(file, 8192).damage->offset, 8u);
}

TEST(Map, file_longer_than_its_capacity_is_damaged_behind_the_map) {
  const std::string file = wrapped + stale(8);
  EXPECT_EQ(mapped(file), "header 20 live 52 stale 64 live 92 null 120");
  ASSERT_TRUE(map_of(file).damage);
  EXPECT_EQ(map_of(file).damage->offset, 120u);
}

TEST(Map, lost_global_header_leaves_nothing_to_map) {
  const ring_map map = map_of(stale(120));
  EXPECT_FALSE(map.state);
  EXPECT_TRUE(map.stretches.empty());
  EXPECT_TRUE(map.damage);
  EXPECT_TRUE(cells_of(map, 4).empty());
}

TEST(Map, largest_capacity) {
  EXPECT_EQ(mapped(gheader(0xFFFFFFFF, 20, 48) + alpha(), unknown_capacity),
            "header 20 live 48 free 4294967295");
}

// Whatever the offsets of the header: the stretches lie one behind the other and fill the ring.
TEST(Map, holds_every_byte_once) {
  uint32_t rings = 0;
  for (const std::string &entries : {wrapped.substr(20), three, stale(100), stale(30)}) {
    for (uint32_t start = 20; start < 120; ++start) {
      for (uint32_t end = 20; end <= 120; ++end) {
        const ring_map map = map_of(gheader(120, start, end) + entries);
        if (!map.state) continue;
        ++rings;
        uint32_t next = 0;
        for (const ring_stretch &stretch : map.stretches) {
          ASSERT_EQ(stretch.begin, next) << start << " " << end;
          ASSERT_LT(stretch.begin, stretch.end) << start << " " << end;
          next = stretch.end;
        }
        ASSERT_EQ(next, 120u) << start << " " << end;
      }
    }
  }
  EXPECT_EQ(rings, 4u * (80 * 101 - 79));
}

// --- totals ---

TEST(MapTotal, counts_bytes_and_entries_of_a_part) {
  const ring_map map = map_of(wrapped);
  EXPECT_EQ(total_of(map, ring_part::live).bytes, 60u);
  EXPECT_EQ(total_of(map, ring_part::live).stretches, 2u);
  EXPECT_EQ(total_of(map, ring_part::null).bytes, 28u);
  EXPECT_EQ(total_of(map, ring_part::null).stretches, 1u);
  EXPECT_EQ(total_of(map, ring_part::stale).bytes, 12u);
  EXPECT_EQ(total_of(map, ring_part::damage).bytes, 0u);
  EXPECT_EQ(total_of(map, ring_part::damage).stretches, 0u);
}

// --- cells ---

TEST(MapCells, are_the_stretches_to_scale) {
  EXPECT_EQ(cells(wrapped, 4), "hhhhhllllllll~~~lllllllnnnnnnn");
}

TEST(MapCells, of_several_parts_show_the_one_that_matters_most) {
  EXPECT_EQ(cells(wrapped, 28), "lllln");
  EXPECT_EQ(cells(gheader(120, 20, 20), 40), "fff");
  EXPECT_EQ(cells(gheader(120, 20, 104) + alpha() + stale(24) + gamma_ray(), 24), "lld??");
  EXPECT_EQ(cells(gheader(120, 48, 72) + three, 40), "~l~");
}

TEST(MapCells, last_one_may_be_short) {
  EXPECT_EQ(cells(gheader(120, 20, 104) + three, 100), "ll");
  EXPECT_EQ(cells(gheader(120, 20, 48) + alpha(), 100), "lf");
  EXPECT_EQ(cells(gheader(120, 20, 48) + alpha(), 1u << 31), "l");
}

}  // namespace
}  // namespace vesk::test
