// Recognising entry headers among any bytes by what is in their twenty bytes.
//
// Where the daemon repairs a ring or makes room over damage, it rewrites the `prev_size` of headers
// and leaves a checksum that does not hold. The entry is whole all the same. Such a header is known
// by its arithmetic, in ones' complement: let S be the sum of all words except `checksum` and
// `prev_size`. It was written with prev_size p and the checksum c = ~(S + p). The rewrite to p'
// sums the old checksum in place, so that the new one is
//
//   c' = ~(S + p' + c) = -(S + p' - S - p) = p - p'
//
// whatever S is: the rewritten checksum says nothing about the other fields, but it gives the
// former prev_size away, p = c' + p'. Only a header whose checksum holds is ever rewritten, so a
// second rewrite happens only where the first left one that holds, which takes c = 0, one entry in
// 65,535. The second then leaves c'' = p' - p'', the same form.
//
// All of p, p' and p'' are multiples of four, for they are rounded up when they are written, or are
// the sizes of entries and null entries; p' is never 0, for every entry and null entry has data.
// That alone passes one header of random bytes in 16. What else ties a rewritten header, each of
// which can come about:
//
//   p = 0          an entry that was appended, as nearly all are; passes 1 in 2^18
//   p' = 20        the first entry of a walk, which may have held anything before: the size of the
//                  null entry at the ring's end, or its predecessor's size when it was updated in
//                  place; passes 1 in 2^18
//   p'             is the size of the entry or null entry that ends right in front of it: an entry
//                  that was updated in place and held another size, 20 when it was the oldest
//   p              is the size of the null entry that ends right in front of it: one that was
//                  rewritten twice in one walk, with the null entry's size and then with that of
//                  the entry before the null entry
//   what is behind an entry of the third kind whose predecessor is gone: a header stands where it
//                  ends, or the ring or the file ends there
//
// The last three pass 1 in 16 times the chance that the other header is one, below 1 in 2^20. All
// of this comes on top of the other fields having nothing odd about them (see oddities()), which
// one header of random bytes in 25,000 passes.
#pragma once

#include <cstdint>
#include <optional>

#include "format/vesk_format.h"

namespace vesk {

// Whether twenty bytes are worth a closer look; false for nearly all that are no header, and fast.
[[nodiscard]] bool may_be_header(const uint8_t *bytes);

// How many things no sender and no daemon writes into an entry header: a uuid other than 1 to 2736,
// an object type below 1024, a size or prev_size that is no multiple of four, a reserved byte that
// is not 0.
[[nodiscard]] int oddities(const vesk_ehdr &header);

// Whether this is what a null entry's header is like, its checksum not looked at.
[[nodiscard]] bool looks_like_null(const vesk_ehdr &header);

// The prev_size from which the header was rewritten, if it is of the form that this leaves.
[[nodiscard]] std::optional<uint16_t> rewritten_from(const vesk_ehdr &header);

// The header of an entry or a null entry, its checksum holding or rewritten.
[[nodiscard]] bool is_neighbour(const vesk_ehdr &header);

}  // namespace vesk
