#include "tests/unit/forecast/predicted.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string_view>

namespace vesk::test {

namespace {

constexpr std::string_view problem_names[] = {
    "none",
    "file_too_small",
    "gheader_unreadable",
    "unknown_version",
    "bad_magic",
    "bad_gheader_sum",
    "wrong_capacity",
    "end_beyond_capacity",
    "start_without_room",
    "file_ends_before_start",
    "file_ends_before_end",
    "wrapped_file_not_full",
    "start_meets_end",
    "bad_entry_sum",
    "entry_unreadable",
    "first_slot_unreadable",
    "end_without_room",
    "no_last_entry",
    "gap_without_room",
    "tail_without_room",
    "null_entry_not_written",
    "entry_beyond_capacity",
    "no_entry_in_damage",
    "no_entry_in_file",
    "no_entries",
    "chain_broken",
};
static_assert(std::size(problem_names) == problem_count);

std::string text_of(const finding &found) {
  std::string text(problem_names[static_cast<size_t>(found.what)]);
  text += " at " + std::to_string(found.offset);
  if (found.number != 0) text += " (" + std::to_string(found.number) + ")";
  return text;
}

}  // namespace

file_forecast predicted(uint32_t file_type, const std::string &file, bool repairs_ended) {
  file_forecast all{};
  const ring_bytes bytes{reinterpret_cast<const uint8_t *>(file.data()), file.size()};
  const failure why = forecast(file_type, bytes, repairs_ended, all);
  EXPECT_EQ(why.reason, "");
  return all;
}

std::string fate_of(uint32_t file_type, const std::string &file, bool repairs_ended) {
  const file_forecast all = predicted(file_type, file, repairs_ended);
  std::string text(fate_name(all.fate));
  if (all.objection) text += ": " + text_of(all.objection);
  if (all.repair_failure) text += "; repair fails: " + text_of(all.repair_failure);
  if (all.ends_repairs) text += "; repairs end";
  return text;
}

std::string rebuild_of(uint32_t file_type, const std::string &file) {
  const file_forecast all = predicted(file_type, file);
  if (all.fate != file_fate::rebuild) return fate_of(file_type, file);
  return "start " + std::to_string(all.state.start) + " end " + std::to_string(all.state.end) +
         ", " + std::to_string(all.nulls_added) + " null, " +
         std::to_string(all.headers_rewritten) + " rewritten, " +
         std::to_string(all.readable_before) + " readable then " +
         std::to_string(all.readable_after);
}

std::string item(uint16_t prev_size, uint32_t secs, uint32_t usecs) {
  return entry({.prev_size = prev_size, .secs = secs, .usecs = usecs}, "eight by");
}

std::string entries(uint32_t count) {
  std::string bytes;
  for (uint32_t i = 0; i < count; ++i) bytes += beta();
  return bytes;
}

std::string marked(const std::string &entries) {
  return gheader(8192, 24, 24) + entries;
}

std::string full(const std::string &entries) {
  const size_t room = 8192 - 20 - entries.size() - 20;
  return marked(entries + entry({.uuid = 293, .type = 0, .prev_size = 8}, std::string(room, '\0')));
}

std::string full_ring(uint32_t start, uint32_t end) {
  return gheader(8192, start, end) + entries(339) + entry({.size = 16}, std::string(16, 'x'));
}

}  // namespace vesk::test
