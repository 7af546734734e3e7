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
//   VESK_CLOCK_SET_BACK_USEC  by how much the clock was set back before the entry; only where it
//   was VESK_CERTAINTY            how sure a salvaged entry is; only for one of those
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
#include "tools/veskshow/format.h"

namespace vesk::veskshow {

// "o=20;s=1767225600;m=1;u=510;t=1024;f=kernel.log": the entry's offset, its time stamp, sender and
// object type, and its file. An offset alone would not do: a ring uses its bytes again.
void append_cursor(std::string &out, const shown_entry &shown);

// The entry's text without one newline at its end, which every form leaves out; nothing where the
// data are no text.
std::optional<std::string_view> message_of(const ring_entry &entry);

// The name that the user's file gives the number, or null.
const std::string *find_name(const std::map<uint16_t, std::string> &names, uint16_t number);

// The text as append_safely() gives it; where that changes nothing, the text itself.
class safe_text {
 public:
  explicit safe_text(std::string_view text);
  safe_text(const safe_text &) = delete;
  safe_text &operator=(const safe_text &) = delete;
  operator std::string_view() const { return text_; }

 private:
  std::string cleaned_;
  std::string_view text_;
};

// A number in decimal.
class decimal {
 public:
  explicit decimal(uint64_t number)
      : end_(std::to_chars(digits_, digits_ + sizeof digits_, number).ptr) {}
  decimal(const decimal &) = delete;
  decimal &operator=(const decimal &) = delete;
  operator std::string_view() const { return {digits_, end_}; }

 private:
  char digits_[20];
  const char *end_;
};

// Calls show(name, value) for every field of the upper list, in its order. Values are UTF-8 without
// control characters but tabs, and hold until the call returns.
template <typename Show>
void each_field(const shown_entry &shown, const entry_style &style, const Show &show) {
  const ring_entry &entry = shown.entry;
  const std::string *sender = find_name(style.names->uuids, entry.uuid);
  const std::string *type = find_name(style.names->types, entry.type);
  const decimal uuid(entry.uuid);

  if (sender) {
    show("SYSLOG_IDENTIFIER", safe_text(*sender));
  } else {
    show("SYSLOG_IDENTIFIER", uuid);
  }
  show("VESK_FILE", safe_text(shown.file));
  if (shown.file_type != 0) show("VESK_FILE_TYPE", decimal(shown.file_type));
  show("VESK_UUID", uuid);
  show("VESK_TYPE", decimal(entry.type));
  if (type) show("VESK_TYPE_NAME", safe_text(*type));
  show("VESK_FLAGS", decimal(entry.flags));
  show("VESK_SIZE", decimal(entry.data.size()));
  show("VESK_OFFSET", decimal(shown.base + entry.offset));
  show("VESK_PREV_SIZE", decimal(entry.prev_size));
  show("VESK_SECS", decimal(entry.secs));
  show("VESK_USECS", decimal(entry.usecs));
  if (entry.set_back_usecs >= clock_jump_usecs) {
    show("VESK_CLOCK_SET_BACK_USEC", decimal(entry.set_back_usecs));
  }
  if (!shown.certainty.empty()) show("VESK_CERTAINTY", shown.certainty);
}

}  // namespace vesk::veskshow
