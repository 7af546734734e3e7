// Which entries the user wants to see.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "reader/vesk_ring_walk.h"
#include "tools/veskshow/names.h"
#include "tools/veskshow/options.h"
#include "tools/veskshow/pattern.h"

namespace vesk::veskshow {

class output;

struct entry_filter {
  std::optional<uint64_t> since;  // in microseconds since 1970; both bounds count as wanted
  std::optional<uint64_t> until;
  std::vector<uint16_t> uuids;  // any of them; empty: every one
  std::vector<uint16_t> types;
  std::optional<text_pattern> pattern;
};

// Understands the options; `now` in microseconds since 1970.
failure make_filter(const options &wanted, const name_table &names, uint64_t now,
                    entry_filter &ret_filter);

// Whether the entry is among those wanted. Data that are no text match no pattern.
[[nodiscard]] bool passes(const entry_filter &filter, const ring_entry &entry);

// Reports a pattern that took too long for some entries, so that they were left out.
void report_given_up(const entry_filter &filter, output &out);

}  // namespace vesk::veskshow
