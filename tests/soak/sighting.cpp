#include "tests/soak/sighting.h"

#include <algorithm>
#include <stdexcept>
#include <variant>

#include "forecast/vesk_forecast.h"
#include "reader/vesk_salvage.h"
#include "tools/shared/problem_text.h"

namespace vesk::soak {
namespace {

bool same_head(const ring_entry &entry, const sent_record &note, uint32_t number) {
  return entry.type == note.type && entry.secs == note.secs && entry.usecs == note.usecs &&
         entry.flags == static_cast<uint8_t>(number) && entry.data.size() == padded(note.length);
}

bool same_data(ring_bytes stored, const std::vector<uint8_t> &sent) {
  const auto [behind, end] = std::mismatch(stored.begin(), stored.end(), sent.begin(), sent.end());
  return end == sent.end() && std::all_of(behind, stored.end(), [](uint8_t b) { return b == 0; });
}

}  // namespace

bool was_sent(const ring_entry &entry, uint16_t file_type, const ledger &notes, author &who) {
  if (!author_of(entry.data.data(), entry.data.size(), who)) return false;
  if (who.sender >= notes.senders() || who.number >= notes.begun(who.sender)) return false;
  const sent_record &note = notes.at(who.sender, who.number);
  return entry.uuid == uuid_of(who.sender) && note.file_type == file_type &&
         same_head(entry, note, who.number) &&
         same_data(entry.data, content_of(notes.seed(), who.sender, who.number, note.length));
}

sighting look_at(ring_bytes image, const volume &of, const ledger &notes) {
  if (image.size() < VESK_GHEADER_SIZE) return {.found = condition::stub};
  sighting seen{.found = condition::sound, .full = image.size() == of.capacity};
  ring_walk walk = begin_walk(image, of.capacity);
  while (const auto entry = next_entry(walk)) {
    author who{};
    if (was_sent(*entry, of.file_type, notes, who)) {
      seen.shown.push_back(who);
    } else {
      seen.untrue.push_back({entry->offset, entry->uuid, entry->type, entry->secs, entry->usecs});
    }
  }
  file_forecast of_start;
  if (failure why = forecast(of.file_type, image, false, of_start)) {
    throw std::runtime_error(why.reason);
  }
  if (walk.damage) {
    seen.found = condition::damaged;
    seen.reason = walk.damage->reason;
  } else if (of_start.fate != file_fate::keep) {
    seen.found = condition::damaged;
    seen.reason = shared::objection_text(of_start);
  }
  return seen;
}

std::vector<author> search(ring_bytes image, const volume &of, const ledger &notes) {
  std::vector<author> found;
  salvage all(image, of.capacity);
  while (const auto thing = all.next()) {
    const auto *entry = std::get_if<salvaged_entry>(&*thing);
    author who{};
    if (entry != nullptr && entry->whole() && was_sent(entry->entry, of.file_type, notes, who)) {
      found.push_back(who);
    }
  }
  return found;
}

}  // namespace vesk::soak
