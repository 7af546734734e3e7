#include "reader/vesk_salvage.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "format/vesk_catalogue.h"
#include "format/vesk_checksum.h"
#include "format/vesk_ring.h"
#include "reader/vesk_salvage_header.h"

namespace vesk {

namespace {

constexpr uint64_t header_alignment = VESK_DAMAGE_STEP;

std::optional<vesk_gheader> gheader_in(ring_bytes bytes) {
  vesk_gheader header;
  if (bytes.size() < sizeof header) return {};
  std::memcpy(&header, bytes.data(), sizeof header);
  if (std::memcmp(header.magic, VESK_MAGIC, sizeof header.magic) != 0 || !checksum_holds(header)) {
    return {};
  }
  return header;
}

}  // namespace

std::string_view certainty_name(certainty level) {
  constexpr std::array<std::string_view, certainty_count> names = {"doubtful", "rewritten",
                                                                   "likely", "sure", "chain"};
  return names[static_cast<size_t>(level)];
}

salvage::salvage(ring_bytes image, uint32_t capacity) : window_(image) {
  ring_walk walk = begin_walk(image, capacity);
  while (const auto entry = next_entry(walk)) chain_.push_back(entry->offset);
  std::sort(chain_.begin(), chain_.end());
  ring_ = walk.state;
  damage_ = walk.damage;
  if (ring_) next_place_ = VESK_GHEADER_SIZE;
}

salvage::salvage(int fd, uint64_t length) : window_(fd, length) {}

std::optional<salvaged> salvage::next() {
  for (;;) {
    if (!pending_.empty() && head_is_settled()) {
      const candidate head = pending_.front();
      pending_.pop_front();
      return settle(head);
    }
    if (at_end()) return {};
    look_at_next_place();
  }
}

bool salvage::at_end() const {
  return next_place_ >= window_.end();
}

// --- looking for candidates ---

void salvage::look_at_next_place() {
  const uint64_t place = next_place_;
  if (window_.move_to(place) && pass_over_hole()) return;
  if (const auto *stretch = window_.unreadable_at(place)) {
    add_unreadable(*stretch);
    next_place_ = stretch->end;
    return;
  }
  look_at(place);
  next_place_ = (place / header_alignment + 1) * header_alignment;
  pass_over_noise();
}

// A hole in a file is zeros, in which nothing begins: a header has no zeros for its type.
bool salvage::pass_over_hole() {
  const uint64_t data = window_.next_data(next_place_);
  if (data < next_place_ + header_alignment) return false;
  next_place_ = data / header_alignment * header_alignment;
  return true;
}

// Goes on to the next place that is worth a look. In a ring with a strange start, the chain may
// lead to places that are no multiple of four.
void salvage::pass_over_noise() {
  const uint64_t in_chain =
      next_in_chain_ < chain_.size() ? uint64_t{chain_[next_in_chain_]} : UINT64_MAX;
  if (window_.all_readable()) {
    const ring_bytes ahead = window_.bytes(next_place_, UINT64_MAX);
    size_t passed = 0;
    while (passed + VESK_EHDR_SIZE <= ahead.size() && next_place_ + passed < in_chain &&
           !may_be_header(ahead.data() + passed)) {
      passed += header_alignment;
    }
    next_place_ += passed;
  }
  next_place_ = std::min(next_place_, in_chain);
}

void salvage::look_at(uint64_t offset) {
  const auto header = header_at(offset);
  if (!header || window_.unreadable_at(offset + VESK_EHDR_SIZE - 1)) return;
  const uint64_t end = offset + entry_span(header->size);
  if (next_in_chain_ < chain_.size() && offset == chain_[next_in_chain_]) {
    ++next_in_chain_;
    add({kind::entry, offset, end, rank::chain});
  } else if (gheader_in(window_.bytes(offset, VESK_GHEADER_SIZE))) {
    add({kind::gheader, offset, offset + VESK_GHEADER_SIZE, rank::sure});
  } else if (const auto surety = surety_of(*header, offset, end)) {
    add({kind::entry, offset, end, *surety});
  }
}

// Of an entry that the chain does not lead to; nothing where it is taken for other bytes.
std::optional<salvage::rank> salvage::surety_of(const vesk_ehdr &header, uint64_t offset,
                                                uint64_t end) const {
  if (header.type == VESK_NULL_ENTRY_TYPE) return {};
  const bool holds = checksum_holds(header);
  const auto former = holds ? std::nullopt : rewritten_from(header);
  if (!holds && !former) return {};
  const int odd = oddities(header);
  const bool cut = end > window_.end();
  if (odd + cut > 1 || (!holds && odd > 0)) return {};

  const bool confirmed = confirmed_behind(end);
  if (!holds && !confirmed && !rewrite_is_tied(offset, header, *former)) return {};
  if (!holds && is_in_gheader(offset, header)) return {};
  if (odd + cut > 0) return rank::doubtful;
  if (holds) return confirmed ? rank::sure : rank::likely;
  return confirmed ? rank::rewritten_confirmed : rank::rewritten;
}

bool salvage::rewrite_is_tied(uint64_t offset, const vesk_ehdr &header, uint16_t former) const {
  if (former == 0 || header.prev_size == VESK_EHDR_SIZE) return true;
  if (const auto before = entry_ending_at(offset, header.prev_size);
      before && is_neighbour(*before)) {
    return true;
  }
  const auto before = entry_ending_at(offset, former);
  return before && before->type == VESK_NULL_ENTRY_TYPE && is_neighbour(*before);
}

// What follows the magic of a global header whose checksum does not hold is all that a rewritten
// entry has to be where the ring starts at 20: that stands where prev_size would, and the capacity
// where size and checksum would. This is no chance but a rule.
bool salvage::is_in_gheader(uint64_t offset, const vesk_ehdr &header) const {
  constexpr uint16_t version_and_reserved = VESK_VERSION << 8;
  if (header.uuid != version_and_reserved || offset < sizeof VESK_MAGIC) return false;
  const uint32_t capacity = uint32_t{header.size} << 16 | header.checksum;
  const ring_bytes before = window_.bytes(offset - sizeof VESK_MAGIC, sizeof VESK_MAGIC);
  return std::memcmp(before.data(), VESK_MAGIC, sizeof VESK_MAGIC) == 0 &&
         std::any_of(vesk_file_catalogue.begin(), vesk_file_catalogue.end(),
                     [capacity](const auto &row) { return row.max_size == capacity; });
}

// The header, whatever it is, of `size` bytes of data that end at `end`.
std::optional<vesk_ehdr> salvage::entry_ending_at(uint64_t end, uint16_t size) const {
  const uint64_t span = entry_span(size);
  const auto header = end >= span ? header_at(end - span) : std::nullopt;
  return header && header->size == size ? header : std::nullopt;
}

bool salvage::confirmed_behind(uint64_t end) const {
  if (end == window_.end() || (ring_ && (end == ring_->end || end == ring_->max))) return true;
  const auto header = header_at(end);
  return (header && is_neighbour(*header)) || gheader_in(window_.bytes(end, VESK_GHEADER_SIZE));
}

std::optional<vesk_ehdr> salvage::header_at(uint64_t offset) const {
  vesk_ehdr header;
  const ring_bytes bytes = window_.bytes(offset, sizeof header);
  if (bytes.size() < sizeof header) return {};
  std::memcpy(&header, bytes.data(), sizeof header);
  return header;
}

void salvage::add_unreadable(const unreadable_stretch &stretch) {
  if (!pending_.empty() && pending_.back().what == kind::unreadable &&
      pending_.back().end == next_place_) {
    pending_.back().end = stretch.end;
    return;
  }
  pending_.push_back({kind::unreadable, next_place_, stretch.end, rank::unreadable, stretch.error});
}

// Two headers cannot share bytes, unless the chain leads to both.
void salvage::add(const candidate &found) {
  const candidate *last = pending_.empty() ? nullptr : &pending_.back();
  if (last && last->what != kind::unreadable && found.offset - last->offset < VESK_EHDR_SIZE) {
    if (last->surety < found.surety) {
      pending_.pop_back();
    } else if (found.surety != rank::chain) {
      return;
    }
  }
  pending_.push_back(found);
}

// --- what candidates mean to each other ---

// Whether all that begins inside the first of them is known. What is unreadable may go on behind
// the bytes that are at hand.
bool salvage::head_is_settled() const {
  const candidate &head = pending_.front();
  return at_end() || next_place_ > head.end ||
         (next_place_ == head.end && head.what == kind::entry);
}

salvaged salvage::settle(candidate found) {
  switch (found.what) {
    case kind::unreadable:
      return unreadable_stretch{found.offset, found.end, found.error};
    case kind::gheader: {
      const auto header = gheader_in(window_.bytes(found.offset, VESK_GHEADER_SIZE));
      return salvaged_gheader{found.offset, {header->max, header->start, header->end}};
    }
    case kind::entry:
      break;
  }
  const uint64_t whole_end = give_way(found);
  claims_.push_back(found);
  return entry_at(found, whole_end);
}

// Takes the entry's standing away where it shares bytes with one that is surer, or is as sure and
// begins before it. Returns where its whole data end.
uint64_t salvage::give_way(candidate &found) {
  uint64_t whole_end = std::min(found.end, window_.end());
  if (found.surety == rank::chain) return whole_end;
  std::erase_if(claims_, [&](const candidate &claim) { return claim.end <= found.offset; });
  const bool inside = std::any_of(claims_.begin(), claims_.end(), [&](const candidate &claim) {
    return claim.surety >= found.surety;
  });
  const auto surer = std::find_if(pending_.begin(), pending_.end(), [&](const candidate &other) {
    return other.surety > found.surety || other.offset >= whole_end;
  });
  const bool overwritten = surer != pending_.end() && surer->offset < whole_end;
  if (overwritten) whole_end = surer->offset;
  if (inside || overwritten) found.surety = rank::doubtful;
  return whole_end;
}

salvaged_entry salvage::entry_at(const candidate &found, uint64_t whole_end) const {
  const vesk_ehdr header = header_at(found.offset).value_or(vesk_ehdr{});
  const uint64_t data = found.offset + VESK_EHDR_SIZE;
  using enum certainty;
  constexpr certainty levels[] = {doubtful, rewritten, likely, rewritten, sure, chain};  // by rank
  return {.offset = found.offset,
          .entry = entry_of(header, static_cast<uint32_t>(found.offset),
                            window_.bytes(data, whole_end - data)),
          .level = levels[static_cast<size_t>(found.surety)],
          .size = header.size};
}

}  // namespace vesk
