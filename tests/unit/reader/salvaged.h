// What a search for entries finds, as one line of text.
#pragma once

#include <string>

#include "reader/vesk_salvage.h"

namespace vesk::test {

// Entries as "offset:uuid/type/size=certainty", or "/whole of size" where not all data are whole;
// global headers as "offset:ring max/start/end", stretches that cannot be read as
// "offset-end:unreadable".
std::string all_of(salvage search);

// Of a file that may be a ring.
std::string salvaged_from(const std::string &file, uint32_t capacity = unknown_capacity);

// Of bytes that are read through a descriptor, piece by piece.
std::string salvaged_in_pieces(const std::string &path);

}  // namespace vesk::test
