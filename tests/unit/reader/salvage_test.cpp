// Which entries come to light among any bytes, and how sure they are.
#include "reader/vesk_salvage.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/file_bytes.h"
#include "tests/unit/reader/salvaged.h"

namespace vesk::test {
namespace {

using namespace std::string_literals;

const std::string three = alpha() + beta() + gamma_ray();  // 20, 48, 72, up to 104

// --- rings ---

TEST(Salvage, entries_of_the_chain) {
  EXPECT_EQ(salvaged_from(gheader(120, 20, 104) + three),
            "20:677/1024/8=chain 48:80/1025/4=chain 72:510/2000/12=chain");
}

TEST(Salvage, entries_of_the_chain_come_in_the_order_of_their_offsets) {
  EXPECT_EQ(salvaged_from(gheader(120, 64, 52) + gamma_ray() + stale(12) + alpha() + null8()),
            "20:510/2000/12=chain 64:677/1024/8=chain");
}

TEST(Salvage, discarded_entry_is_sure_by_the_header_behind_it) {
  EXPECT_EQ(salvaged_from(gheader(120, 48, 104) + three),
            "20:677/1024/8=sure 48:80/1025/4=chain 72:510/2000/12=chain");
}

TEST(Salvage, entry_behind_the_end_is_sure_by_the_end_of_the_file) {
  EXPECT_EQ(salvaged_from(gheader(120, 20, 72) + three),
            "20:677/1024/8=chain 48:80/1025/4=chain 72:510/2000/12=sure");
}

TEST(Salvage, entry_behind_a_break_is_sure_by_the_end_of_the_ring) {
  const std::string broken = alpha() + stale(24) + gamma_ray() + stale(40);
  EXPECT_EQ(salvaged_from(gheader(160, 20, 104) + broken),
            "20:677/1024/8=chain 72:510/2000/12=sure");
  EXPECT_EQ(salvaged_from(gheader(160, 20, 108) + broken),
            "20:677/1024/8=chain 72:510/2000/12=likely");
}

TEST(Salvage, entry_at_the_capacity_is_sure_by_it) {
  const std::string broken = gamma_ray() + stale(40) + alpha() + stale(20);
  EXPECT_EQ(salvaged_from(gheader(120, 64, 52) + broken), "20:510/2000/12=sure 92:677/1024/8=sure");
  EXPECT_EQ(salvaged_from(gheader(124, 64, 56) + broken),
            "20:510/2000/12=likely 92:677/1024/8=likely");
}

TEST(Salvage, chain_is_followed_to_headers_that_lie_at_no_multiple_of_four) {
  EXPECT_EQ(salvaged_from(gheader(120, 21, 49) + "x" + alpha() + beta()), "21:677/1024/8=chain");
}

TEST(Salvage, entry_of_the_chain_is_given_whatever_it_says) {
  const std::string odd = entry({.uuid = 0, .type = 7, .prev_size = 3}, "12345");
  EXPECT_EQ(salvaged_from(gheader(120, 20, 45) + odd), "20:0/7/5=chain");
}

TEST(Salvage, last_of_the_chain_may_run_into_the_first) {
  const std::string long_one = entry({.size = 40}, "twenty-four bytes of it.");
  EXPECT_EQ(salvaged_from(gheader(120, 64, 52) + long_one + alpha() + null8()),
            "20:677/1024/40=chain 64:677/1024/8=chain");
}

// The last header lies between the ring's end and its start, and is that of the first in part.
TEST(Salvage, last_of_the_chain_may_run_into_the_header_of_the_first) {
  const std::string last = entry({.usecs = 0x02A50400}, "").substr(0, 16);
  EXPECT_EQ(salvaged_from(gheader(120, 64, 52) + alpha() + last + alpha() + null8()),
            "20:677/1024/8=chain 48:677/1024/0=chain 64:677/1024/8=chain");
}

TEST(Salvage, nothing_is_in_a_file_without_entries) {
  EXPECT_EQ(salvaged_from(""), "");
  EXPECT_EQ(salvaged_from("vesk"), "");
  EXPECT_EQ(salvaged_from(gheader(120, 20, 20)), "");
}

// --- entries without a ring ---

TEST(Salvage, entries_without_a_global_header) {
  EXPECT_EQ(salvaged_from(stale(20) + three),
            "20:677/1024/8=sure 48:80/1025/4=sure 72:510/2000/12=sure");
}

TEST(Salvage, entry_with_nothing_behind_it_is_likely) {
  EXPECT_EQ(salvaged_from(stale(8) + alpha() + stale(24)), "8:677/1024/8=likely");
}

TEST(Salvage, null_entry_is_not_given_but_confirms_the_one_before_it) {
  EXPECT_EQ(salvaged_from(alpha() + null8() + stale(24)), "0:677/1024/8=sure");
}

TEST(Salvage, entry_is_found_at_multiples_of_four_alone) {
  EXPECT_EQ(salvaged_from("x" + alpha()), "");
  EXPECT_EQ(salvaged_from("xx" + alpha()), "");
  EXPECT_EQ(salvaged_from("xxxx" + alpha()), "4:677/1024/8=sure");
}

TEST(Salvage, entry_carries_its_fields_and_data) {
  const std::string bytes = stale(8) + gamma_ray();
  salvage search({reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()}, unknown_capacity);
  const auto found = search.next();
  ASSERT_TRUE(found);
  const auto &entry = std::get<salvaged_entry>(*found).entry;
  EXPECT_EQ(entry.offset, 8u);
  EXPECT_EQ(entry.uuid, 510);
  EXPECT_EQ(entry.type, 2000);
  EXPECT_EQ(entry.flags, 7);
  EXPECT_EQ(entry.prev_size, 8);
  EXPECT_EQ(entry.secs, 1714564802u);
  EXPECT_EQ(entry.usecs, 999999u);
  EXPECT_EQ(std::string(entry.data.begin(), entry.data.end()), "gamma ray\0\0\0"s);
  EXPECT_FALSE(search.next());
}

// Two log files, the second of which begins where the first ends.
TEST(Salvage, flash_image_with_two_log_files) {
  const std::string first = gheader(104, 20, 104) + three;
  const std::string second = gheader(8192, 20, 48) + alpha();
  EXPECT_EQ(salvaged_from(stale(12) + first + second + stale(40)),
            "12:ring 104/20/104 "
            "32:677/1024/8=sure 60:80/1025/4=sure 84:510/2000/12=sure "
            "116:ring 8192/20/48 136:677/1024/8=likely");
}

TEST(Salvage, own_global_header_is_news_where_it_does_not_lead_to_a_chain) {
  EXPECT_EQ(salvaged_from(gheader(120, 110, 104) + alpha()),
            "0:ring 120/110/104 20:677/1024/8=sure");
}

TEST(Salvage, global_header_whose_checksum_does_not_hold_is_none) {
  EXPECT_EQ(salvaged_from(stale(4) + gheader(120, 20, 104, 0x1234) + alpha()),
            "24:677/1024/8=sure");
}

// Its last sixteen bytes are almost those of a rewritten entry, with the start for its prev_size.
TEST(Salvage, damaged_global_header_holds_no_entry) {
  for (const uint32_t max : {8192u, 262144u, 8388608u}) {
    EXPECT_EQ(salvaged_from(gheader(max, 20, 104, 0x1234) + stale(80)), "");
  }
}

TEST(Salvage, entry_may_follow_data_that_end_like_a_global_header_begins) {
  const std::string entries = entry({}, "vesk") + entry({.uuid = 256}, "data");
  EXPECT_EQ(salvaged_from(entries), "0:677/1024/4=sure 24:256/1024/4=sure");
  // 8192 - 20, and a size and checksum that would make a capacity of 8192
  EXPECT_EQ(salvaged_from("vesk" + entry({.sum = 0x2000, .prev_size = 20}, "")),
            "4:677/1024/0=rewritten");
  EXPECT_EQ(salvaged_from("vest" + entry({.uuid = 256, .sum = 0x2000, .prev_size = 20}, "")),
            "4:256/1024/0=rewritten");
  EXPECT_EQ(salvaged_from("vesk" + entry({.uuid = 256, .sum = 0x2004, .prev_size = 20}, "")),
            "4:256/1024/0=rewritten");
}

// --- what is odd ---

std::string amid_others(const header_fields &fields, const std::string &data = "data") {
  return salvaged_from(stale(20) + entry(fields, data) + stale(20));
}

TEST(Salvage, entry_with_one_odd_thing_is_doubtful) {
  EXPECT_EQ(amid_others({.uuid = 0}), "20:0/1024/4=doubtful");
  EXPECT_EQ(amid_others({.uuid = 2737}), "20:2737/1024/4=doubtful");
  EXPECT_EQ(amid_others({.type = 1023}), "20:677/1023/4=doubtful");
  EXPECT_EQ(amid_others({.size = 3}), "20:677/1024/3=doubtful");
  EXPECT_EQ(amid_others({.prev_size = 3}), "20:677/1024/4=doubtful");
}

TEST(Salvage, entry_whose_reserved_byte_is_not_zero_is_doubtful) {
  std::string odd = alpha();
  odd[9] = 4;
  EXPECT_EQ(salvaged_from(odd + stale(20)), "");
  odd[7] = 0x5B;  // the sum is 0x645B instead of 0x645F
  EXPECT_EQ(salvaged_from(odd + stale(20)), "0:677/1024/8=doubtful");
}

TEST(Salvage, odd_entry_stays_doubtful_with_a_header_behind_it) {
  EXPECT_EQ(salvaged_from(stale(20) + entry({.uuid = 0}, "data") + alpha() + stale(20)),
            "20:0/1024/4=doubtful 44:677/1024/8=likely");
}

TEST(Salvage, bounds_that_are_not_odd) {
  EXPECT_EQ(amid_others({.uuid = 1}), "20:1/1024/4=likely");
  EXPECT_EQ(amid_others({.uuid = 2736}), "20:2736/1024/4=likely");
  EXPECT_EQ(amid_others({.type = 65535}), "20:677/65535/4=likely");
  EXPECT_EQ(amid_others({.flags = 255}), "20:677/1024/4=likely");
  EXPECT_EQ(amid_others({.usecs = 0xFFFFFFFF}), "20:677/1024/4=likely");
  EXPECT_EQ(amid_others({}, ""), "20:677/1024/0=likely");
}

TEST(Salvage, entry_with_two_odd_things_is_none) {
  EXPECT_EQ(amid_others({.uuid = 0, .type = 1}), "");
  EXPECT_EQ(amid_others({.uuid = 3000, .prev_size = 1}), "");
  EXPECT_EQ(amid_others({.type = 1023, .size = 3}), "");
}

TEST(Salvage, nothing_is_found_in_stretches_of_equal_bytes) {
  for (const char byte : {'\0', '\xFF', '\x33', '\x66', '\x99', '\xCC', '\xDB', ' '}) {
    EXPECT_EQ(salvaged_from(std::string(5000, byte)), "") << "of bytes " << int{byte};
  }
}

TEST(Salvage, entries_among_erased_flash_are_found) {
  const std::string erased(400, '\xFF');
  EXPECT_EQ(salvaged_from(erased + alpha() + erased), "400:677/1024/8=likely");
}

// A header of which the last word is zero sums up four bytes early too, where zeros lie before it.
TEST(Salvage, header_behind_zeros_is_found_once) {
  EXPECT_EQ(salvaged_from(std::string(40, '\0') + entry({.usecs = 0}, "data")),
            "40:677/1024/4=sure");
}

TEST(Salvage, type_zero_is_no_entry_from_any_sender) {
  EXPECT_EQ(salvaged_from(entry({.uuid = 700, .type = 0}, "data") + stale(20)), "");
}

// --- entries that are cut off or overwritten ---

TEST(Salvage, entry_that_is_cut_off_is_doubtful) {
  const std::string cut = (stale(8) + gamma_ray()).substr(0, 35);
  EXPECT_EQ(salvaged_from(cut), "8:510/2000/7 of 12=doubtful");
  EXPECT_EQ(salvaged_from((stale(8) + gamma_ray()).substr(0, 28)), "8:510/2000/0 of 12=doubtful");
}

TEST(Salvage, header_that_is_cut_off_is_nothing) {
  EXPECT_EQ(salvaged_from((stale(8) + gamma_ray()).substr(0, 27)), "");
}

TEST(Salvage, odd_entry_that_is_cut_off_is_none) {
  EXPECT_EQ(salvaged_from(entry({.uuid = 0, .size = 8}, "data")), "");
}

// The first lost the rest of its data to entries of another file.
TEST(Salvage, entry_overwritten_by_a_surer_one_is_doubtful) {
  const std::string first = entry({.size = 52}, "twenty bytes are its");
  EXPECT_EQ(salvaged_from(first + alpha() + beta() + stale(24)),
            "0:677/1024/20 of 52=doubtful 40:677/1024/8=sure 68:80/1025/4=likely");
}

TEST(Salvage, of_equally_sure_entries_the_first_keeps_its_standing) {
  const std::string first = entry({.size = 52}, "twenty bytes are its");
  EXPECT_EQ(salvaged_from(first + alpha() + stale(24)),
            "0:677/1024/52=likely 40:677/1024/8=doubtful");
}

// Its header came to the flash, its data did not: older entries still lie there.
TEST(Salvage, older_entries_in_the_data_of_a_torn_one_are_surer) {
  const std::string torn = entry({.uuid = 5, .size = 100}, "");
  EXPECT_EQ(salvaged_from(gheader(8192, 20, 48) + alpha() + torn + stale(4) + three + stale(60)),
            "20:677/1024/8=chain 48:5/1024/4 of 100=doubtful "
            "72:677/1024/8=sure 100:80/1025/4=sure 124:510/2000/12=likely");
}

TEST(Salvage, copies_of_entries_in_the_data_of_a_sure_one_are_doubtful) {
  EXPECT_EQ(salvaged_from(gheader(200, 20, 96) + entry({.uuid = 5}, alpha() + beta() + "tail")),
            "20:5/1024/56=chain 40:677/1024/8=doubtful 68:80/1025/4=doubtful");
  EXPECT_EQ(salvaged_from(entry({.uuid = 5}, alpha() + beta() + "tail") + alpha()),
            "0:5/1024/56=sure 20:677/1024/8=doubtful 48:80/1025/4=doubtful 76:677/1024/8=sure");
}

TEST(Salvage, entry_is_whole_up_to_the_global_header_of_another_file) {
  EXPECT_EQ(salvaged_from(entry({.size = 64}, "eight...") + gheader(120, 20, 20) + stale(60)),
            "0:677/1024/8 of 64=doubtful 28:ring 120/20/20");
}

TEST(Salvage, of_headers_that_share_bytes_only_the_surer_is_given) {
  // The upper twelve bytes make a header with the first eight of alpha: its type is odd.
  std::string before = entry({.uuid = 7, .type = 8}, "").substr(0, 12);
  uint32_t sum = 0;
  const std::string both = before + alpha();
  for (size_t i = 0; i < 20; i += 2) {
    if (i != 6) sum += 256u * static_cast<uint8_t>(both[i]) + static_cast<uint8_t>(both[i + 1]);
  }
  before[6] = static_cast<char>((0xFFFF - sum % 0xFFFF) >> 8);
  before[7] = static_cast<char>(0xFFFF - sum % 0xFFFF);
  EXPECT_EQ(salvaged_from(before + alpha().substr(0, 8) + stale(20)), "0:7/8/0=doubtful");
  EXPECT_EQ(salvaged_from(before + alpha() + stale(20)), "12:677/1024/8=likely");
}

TEST(Salvage, header_that_the_header_of_a_surer_entry_makes_with_its_data_is_not_given) {
  // The time stamp and the data sum up as a header with a uuid that is odd.
  const std::string data("\0\0\0\0\x6B\x0C\0\0\0\0\0\0", 12);
  EXPECT_EQ(salvaged_from(entry({.usecs = 1}, data).substr(12) + stale(20)),
            "0:26162/11968/0=doubtful");
  EXPECT_EQ(salvaged_from(entry({.usecs = 1}, data)), "0:677/1024/12=sure");
}

// --- headers that were rewritten: the stored sum is the former prev_size less the present one ---

TEST(Salvage, rewritten_entry_that_was_appended) {
  // 0 - 40
  EXPECT_EQ(amid_others({.sum = 0xFFD7, .prev_size = 40}), "20:677/1024/4=rewritten");
  EXPECT_EQ(amid_others({.sum = 0xFFD8, .prev_size = 40}), "");
  EXPECT_EQ(amid_others({.sum = 0xFFD6, .prev_size = 40}), "");
  // 0 - 65532
  EXPECT_EQ(amid_others({.sum = 0x0003, .prev_size = 65532}), "20:677/1024/4=rewritten");
}

TEST(Salvage, rewritten_entry_that_held_anything_before_the_walk_began_at_it) {
  // 52 - 20
  EXPECT_EQ(amid_others({.sum = 0x0020, .prev_size = 20}), "20:677/1024/4=rewritten");
  EXPECT_EQ(amid_others({.sum = 0x0020, .prev_size = 24}), "");
  // 54 - 20: no writer stores 54
  EXPECT_EQ(amid_others({.sum = 0x0022, .prev_size = 20}), "");
}

TEST(Salvage, rewritten_entry_behind_one_of_that_size) {
  // 24 - 8: alpha has eight bytes.
  const std::string rewritten = entry({.sum = 0x0010, .prev_size = 8}, "data") + stale(20);
  EXPECT_EQ(salvaged_from(alpha() + rewritten), "0:677/1024/8=sure 28:677/1024/4=rewritten");
  EXPECT_EQ(salvaged_from(null8() + rewritten), "28:677/1024/4=rewritten");
  EXPECT_EQ(salvaged_from(beta() + stale(4) + rewritten), "0:80/1025/4=likely");
}

TEST(Salvage, rewritten_to_the_size_that_it_held_already) {
  // 8 - 8
  const std::string rewritten = entry({.sum = 0, .prev_size = 8}, "data") + stale(20);
  EXPECT_EQ(salvaged_from(null8() + rewritten), "28:677/1024/4=rewritten");
  // The other zero of the arithmetic never comes out of a rewrite.
  EXPECT_EQ(salvaged_from(null8() + entry({.sum = 0xFFFF, .prev_size = 8}, "data") + stale(20)),
            "");
}

TEST(Salvage, rewritten_twice_behind_a_null_entry) {
  // 8, the null entry's size, less 12
  const std::string rewritten = entry({.sum = 0xFFFB, .prev_size = 12}, "data") + stale(20);
  EXPECT_EQ(salvaged_from(null8() + rewritten), "28:677/1024/4=rewritten");
  EXPECT_EQ(salvaged_from(alpha() + rewritten), "0:677/1024/8=sure");
}

TEST(Salvage, rewritten_entry_with_a_header_behind_it) {
  // 24 - 8
  const std::string rewritten = entry({.sum = 0x0010, .prev_size = 8}, "data");
  EXPECT_EQ(salvaged_from(stale(28) + rewritten + alpha() + stale(20)),
            "28:677/1024/4=rewritten 52:677/1024/8=likely");
  EXPECT_EQ(salvaged_from(stale(28) + rewritten + stale(20)), "");
}

TEST(Salvage, rewritten_headers_confirm_the_entry_before_them) {
  const std::string null = entry({.uuid = 293, .type = 0, .sum = 0xFFF7, .prev_size = 8}, "null");
  EXPECT_EQ(salvaged_from(alpha() + null + stale(20)), "0:677/1024/8=sure");
  const std::string other = entry({.sum = 0xFFF7, .prev_size = 8}, "data");
  EXPECT_EQ(salvaged_from(alpha() + other + stale(20)),
            "0:677/1024/8=sure 28:677/1024/4=rewritten");
}

TEST(Salvage, rewritten_entry_may_not_be_odd_at_all) {
  EXPECT_EQ(amid_others({.uuid = 0, .sum = 0xFFD7, .prev_size = 40}), "");
  EXPECT_EQ(amid_others({.type = 1023, .sum = 0xFFD7, .prev_size = 40}), "");
  EXPECT_EQ(amid_others({.size = 3, .sum = 0xFFD7, .prev_size = 40}), "");
  // 0 - 42
  EXPECT_EQ(amid_others({.sum = 0xFFD5, .prev_size = 42}), "");
  // 0 - 0: nobody rewrites to a size of zero
  EXPECT_EQ(amid_others({.sum = 0, .prev_size = 0}), "");
  EXPECT_EQ(amid_others({.sum = 0xFFFF, .prev_size = 0}), "");
}

TEST(Salvage, rewritten_entry_that_is_cut_off_is_doubtful) {
  EXPECT_EQ(salvaged_from(entry({.size = 8, .sum = 0xFFD7, .prev_size = 40}, "data")),
            "0:677/1024/4 of 8=doubtful");
}

TEST(Salvage, confirmed_rewritten_entry_is_surer_than_a_likely_one) {
  const std::string torn = entry({.uuid = 5, .size = 60}, "");
  const std::string rewritten = entry({.sum = 0xFFD7, .prev_size = 40}, "data");
  EXPECT_EQ(salvaged_from(torn + stale(4) + rewritten + alpha() + stale(60)),
            "0:5/1024/4 of 60=doubtful 24:677/1024/4=rewritten 48:677/1024/8=likely");
  EXPECT_EQ(salvaged_from(torn + stale(4) + rewritten + stale(60)),
            "0:5/1024/60=likely 24:677/1024/4=doubtful");
}

}  // namespace
}  // namespace vesk::test
