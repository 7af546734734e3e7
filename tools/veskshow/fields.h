// An entry as named fields, for the forms that show all there is to know. The names are those of
// the system journal where it has such a field, and begin with VESK_ where it has none:
//
//   SYSLOG_IDENTIFIER         the sender's name, or its number
//   VESK_FILE                 the log file's name, or its path where the catalogue does not know it
//   VESK_FILE_TYPE            the log file's type; only where the catalogue knows it
//   VESK_UUID                 the sender's number
//   VESK_TYPE, VESK_TYPE_NAME the object type's number, and its name; only where it has one
//   VESK_FLAGS                as the sender gave them
//   VESK_SIZE                 the length of the data, padding included
//   VESK_OFFSET               where in the log file the entry's header lies
//   VESK_PREV_SIZE            as stored; the size of the entry before it, where the writer knew it
//   VESK_SECS, VESK_USECS     the sender's time stamp, as stored
//   VESK_CLOCK_SET_BACK_USEC  by how much the clock was set back before the entry; only where so
//   VESK_CERTAINTY            how sure a salvaged entry is; only for one of those
//
// All numbers are decimal. The machine-readable forms have three more fields in front of these:
//
//   __CURSOR                  names the file and the entry; the same each time the entry is shown
//   __REALTIME_TIMESTAMP      microseconds since 1970
//   MESSAGE                   the data as text, without padding and without one newline at the end;
//                             where they are no text, VESK_DATA_BASE64 or VESK_DATA has all of them
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "reader/vesk_ring_walk.h"
#include "tools/shared/text.h"
#include "tools/veskshow/format.h"

namespace vesk::veskshow {

// "o=20;s=1767225600;m=1;u=510;t=1024;f=kernel.log": the entry's offset, its time stamp, sender and
// object type, and its file. An offset alone would not do: a ring uses its bytes again.
void append_cursor(std::string &out, const shown_entry &shown);

// The entry's text without one newline at its end, which every form leaves out; nothing where the
// data are no text.
[[nodiscard]] std::optional<std::string_view> message_of(const ring_entry &entry);

// Numbers in decimal; each is there until the next one is asked for.
class decimal {
 public:
  std::string_view of(uint64_t number) {
    return {digits_, std::to_chars(digits_, digits_ + sizeof digits_, number).ptr};
  }

 private:
  char digits_[20];
};

// Calls show(name, value) for every field of the upper list, in its order. Values are UTF-8 without
// control characters except tabs, and hold until the call returns.
template <typename Show>
void each_field(const shown_entry &shown, const entry_style &style, const Show &show) {
  const ring_entry &entry = shown.entry;
  decimal text;
  const auto show_number = [&](std::string_view name, uint64_t number) {
    show(name, text.of(number));
  };
  const std::string *sender = find_name(style.names->uuids, entry.uuid);
  const std::string *type = find_name(style.names->types, entry.type);

  show("SYSLOG_IDENTIFIER", sender ? shared::safely(*sender) : std::to_string(entry.uuid));
  show("VESK_FILE", shared::safely(shown.file));
  if (shown.file_type != 0) show_number("VESK_FILE_TYPE", shown.file_type);
  show_number("VESK_UUID", entry.uuid);
  show_number("VESK_TYPE", entry.type);
  if (type) show("VESK_TYPE_NAME", shared::safely(*type));
  show_number("VESK_FLAGS", entry.flags);
  show_number("VESK_SIZE", entry.data.size());
  show_number("VESK_OFFSET", shown.base + entry.offset);
  show_number("VESK_PREV_SIZE", entry.prev_size);
  show_number("VESK_SECS", entry.secs);
  show_number("VESK_USECS", entry.usecs);
  if (entry.set_back_usecs >= clock_jump_usecs) {
    show_number("VESK_CLOCK_SET_BACK_USEC", entry.set_back_usecs);
  }
  if (!shown.certainty.empty()) show("VESK_CERTAINTY", shown.certainty);
}

}  // namespace vesk::veskshow
