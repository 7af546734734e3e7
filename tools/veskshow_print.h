// The lines that veskshow prints.
#pragma once

#include <cstdint>
#include <string>

#include "reader/vesk_ring_summary.h"
#include "reader/vesk_ring_walk.h"
#include "tools/veskshow_files.h"

namespace vesk {

enum class time_zone : uint8_t { local, utc };

// Time, sender, object type, size of the data, data.
void append_entry(std::string &out, const ring_entry &entry, time_zone zone);

void append_list_head(std::string &out);
void append_list_row(std::string &out, const log_file &file, size_t size,
                     const ring_summary &summary, time_zone zone);

// "offset 48: the checksum of ..."
std::string damage_text(const ring_damage &damage);

}  // namespace vesk
