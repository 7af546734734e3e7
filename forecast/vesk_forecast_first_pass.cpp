#include "forecast/vesk_forecast_first_pass.h"

#include <utility>

#include "forecast/vesk_forecast_image.h"
#include "format/vesk_ring.h"

namespace vesk {

namespace {

enum class step : uint8_t { go_on, finish };

struct first_pass {
  std::vector<uint8_t> &file;
  uint32_t end;  // the size that the file has at first: it may grow
  uint32_t max;
  start_time now;
  uint32_t curr = VESK_GHEADER_SIZE;  // the offset under examination
  uint32_t seg = VESK_GHEADER_SIZE;   // just behind the last good entry
  uint16_t last_size = VESK_EHDR_SIZE;
  uint32_t last_secs = 0;
  uint32_t last_usecs = 0;
  uint32_t damaged = 0;  // bytes, over the whole pass
  bool in_damage = false;
  uint32_t rewritten_at = 0;    // the last header that was rewritten
  std::string broken_off = {};  // why the pass ended early; that costs no file with entries
  first_pass_result result = {.failure = {},
                              .predicted_start = VESK_GHEADER_SIZE,
                              .entries = 0,
                              .headers_rewritten = 0,
                              .nulls_added = 0};

  step give_up(std::string why) {
    result.failure = std::move(why);
    return step::finish;
  }
  step break_off(std::string why) {
    broken_off = std::move(why);
    return step::finish;
  }
};

std::string text(uint64_t number) {
  return std::to_string(number);
}

// Covers the `room` bytes behind the last good entry.
void cover(first_pass &pass, uint32_t room) {
  write_null_entry(pass.file, pass.seg, static_cast<uint16_t>(room - VESK_EHDR_SIZE),
                   pass.last_size, pass.now);
  ++pass.result.nulls_added;
}

step step_over_damage(first_pass &pass) {
  pass.damaged += VESK_DAMAGE_STEP;
  if (pass.damaged > repairable_damage) {
    return pass.break_off("no entry is found before the damage exceeds " + text(repairable_damage) +
                          " bytes");
  }
  pass.curr += VESK_DAMAGE_STEP;
  if (pass.curr <= pass.max - VESK_EHDR_SIZE) {
    pass.in_damage = true;
    return step::go_on;
  }
  const uint32_t room = pass.max - pass.seg;
  if (room <= VESK_EHDR_SIZE) {
    return pass.give_up("the damage at offset " + text(pass.seg) +
                        " leaves no room for a null entry up to the capacity of " + text(pass.max));
  }
  cover(pass, room);
  return step::finish;
}

// A header may be rewritten twice, and counts once.
void rewrite(first_pass &pass, uint32_t prev_size) {
  if (!rewrite_prev_size(pass.file, pass.curr, static_cast<uint16_t>(prev_size))) return;
  if (pass.rewritten_at != pass.curr) ++pass.result.headers_rewritten;
  pass.rewritten_at = pass.curr;
}

// A good header ends a damaged stretch.
step cover_gap(first_pass &pass) {
  const uint32_t gap = pass.curr - pass.seg;
  if (gap <= VESK_EHDR_SIZE) {
    return pass.give_up(text(gap) + " bytes of damage at offset " + text(pass.seg) +
                        " leave no room for a null entry");
  }
  cover(pass, gap);
  rewrite(pass, gap - VESK_EHDR_SIZE);
  return step::go_on;
}

// In a file of full size the oldest entry is the one where seconds step back; within one second,
// the one where microseconds go on.
void predict(first_pass &pass, const vesk_ehdr &header) {
  if (pass.result.entries < 2 || pass.end < pass.max) return;
  const bool moves = header.secs < pass.last_secs ||
                     (header.secs == pass.last_secs && header.usecs > pass.last_usecs);
  if (moves) pass.result.predicted_start = pass.curr;
}

step step_over_entry(first_pass &pass, const vesk_ehdr &header) {
  if (pass.in_damage && cover_gap(pass) == step::finish) return step::finish;
  // As it was read: what was rewritten just now is rewritten again where the old value differs.
  if (header.prev_size != pass.last_size) rewrite(pass, pass.last_size);
  if (header.type != VESK_NULL_ENTRY_TYPE) {
    ++pass.result.entries;
    predict(pass, header);
  }
  const uint32_t next = pass.curr + entry_span(header.size);
  if (next > pass.max) {
    return pass.give_up("the entry at offset " + text(pass.curr) + " runs to " + text(next) +
                        ", beyond the capacity of " + text(pass.max));
  }
  pass.last_size = header.size;
  pass.last_secs = header.secs;
  pass.last_usecs = header.usecs;
  pass.seg = pass.curr = next;
  pass.in_damage = false;
  return step::go_on;
}

step one_step(first_pass &pass) {
  const found_header found = header_at(pass.file, pass.curr);
  switch (found.state) {
    case header_state::good:
      return step_over_entry(pass, found.header);
    case header_state::bad:
      return step_over_damage(pass);
    case header_state::missing:
      return pass.break_off("no entry is found before the file ends at " + text(pass.file.size()));
  }
  return step::finish;
}

}  // namespace

first_pass_result run_first_pass(std::vector<uint8_t> &file, uint32_t capacity, start_time now) {
  first_pass pass{
      .file = file, .end = static_cast<uint32_t>(file.size()), .max = capacity, .now = now};
  while (pass.curr < pass.end && one_step(pass) == step::go_on) {
  }
  first_pass_result &result = pass.result;
  if (result.failure.empty() && result.entries == 0) {
    result.failure = pass.broken_off.empty() ? "there is no entry in the file" : pass.broken_off;
  }
  return result;
}

}  // namespace vesk
