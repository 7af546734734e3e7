#include "tools/shared/problem_text.h"

namespace vesk::shared {

namespace {

std::string text(uint32_t number) {
  return std::to_string(number);
}

std::string wrong_size(const file_forecast &predicted) {
  return "the ring has wrapped, but the file has " + text(predicted.size) + " bytes, not " +
         text(predicted.capacity);
}

std::string no_entry_header(const file_forecast &predicted) {
  return "no entry header: the file ends at " + text(predicted.size);
}

std::string no_place_in_file(const file_forecast &predicted, const char *which, uint32_t offset) {
  return "the file ends at " + text(predicted.size) + ", before its " + which + " " + text(offset);
}

}  // namespace

std::string objection_text(const file_forecast &predicted) {
  const std::string max = text(predicted.header.max);
  const std::string start = text(predicted.header.start);
  const std::string end = text(predicted.header.end);
  switch (predicted.objection.what) {
    case problem::file_too_small:
      return "the file ends inside its global header";
    case problem::unknown_version:
      return "format version " + text(predicted.header.version) + " is not known";
    case problem::bad_magic:
      return "it does not begin with \"vesk\"";
    case problem::bad_gheader_sum:
      return "the checksum of the global header does not hold";
    case problem::wrong_capacity:
      return "capacity " + max + " is not the " + text(predicted.capacity) + " of this file";
    case problem::end_beyond_capacity:
      return "end " + end + " lies beyond the capacity of " + max;
    case problem::start_without_room:
      return "start " + start + " leaves no room for an entry up to the capacity of " + max;
    case problem::file_ends_before_start:
    case problem::file_ends_before_end:
      return "the file ends before its end " + end;
    case problem::wrapped_file_not_full:
      return wrong_size(predicted);
    case problem::start_meets_end:
      return "start and end are both " + start + ": no entry can be reached";
    case problem::bad_entry_sum:
      return "the checksum of the entry header does not hold";
    case problem::entry_unreadable:
    case problem::first_slot_unreadable:
      return no_entry_header(predicted);
    case problem::end_without_room:
      return "end " + end + " leaves no room for an entry in front of it";
    case problem::no_last_entry:
      return "no entry header holds from here back to offset " + text(predicted.objection.number);
    default:
      return {};
  }
}

std::string repair_failure_text(const file_forecast &predicted) {
  const finding &failure = predicted.repair_failure;
  const std::string offset = text(failure.offset);
  const std::string number = text(failure.number);
  switch (failure.what) {
    case problem::bad_magic:
    case problem::bad_gheader_sum:
      return "a global header that cannot be trusted is not rebuilt";
    case problem::wrong_capacity:
      return "a ring of another capacity is not rebuilt";
    case problem::wrapped_file_not_full:
      return wrong_size(predicted);
    case problem::file_ends_before_start:
      return no_place_in_file(predicted, "start", predicted.header.start);
    case problem::file_ends_before_end:
      return no_place_in_file(predicted, "end", predicted.header.end);
    case problem::gap_without_room:
      return number + " bytes of damage at offset " + offset + " leave no room for a null entry";
    case problem::tail_without_room:
      return "the damage at offset " + offset +
             " leaves no room for a null entry up to the capacity of " + text(predicted.capacity);
    case problem::entry_beyond_capacity:
      return "the entry at offset " + offset + " runs to " + number + ", beyond the capacity of " +
             text(predicted.capacity);
    case problem::no_entry_in_damage:
      return "no entry is found before the damage exceeds " + number + " bytes";
    case problem::no_entry_in_file:
      return "no entry is found before the file ends at " + text(predicted.size);
    case problem::no_entries:
      return "there is no entry in the file";
    case problem::chain_broken:
      return "the chain from the new start " + text(predicted.state.start) + " breaks at offset " +
             offset + ", before it has passed the new end " + number;
    default:
      return {};
  }
}

}  // namespace vesk::shared
