// How many system calls an operation may take on a file of some capacity, whatever the file holds.
#pragma once

#include <cstdint>

#include "tests/support/header_bytes.h"

namespace vesk::test {

// On its way around the ring a walk takes one header (a seek and a read) every 20 bytes or more,
// and four calls for each of two rewrites of that header. Damage it takes in steps of four bytes,
// up to a limit for the whole walk; a null entry, once for each stretch, is a clock, a seek and
// three writes.
inline constexpr uint64_t probe = 2, rewrite = 4, null_entry = 5;

constexpr uint64_t headers_in(uint64_t bytes) {
  return bytes / header_size + 1;
}

// Opening, status, the global header, a small sound file: with sixteen files looked up twice, fewer
// than these.
inline constexpr uint64_t around = 300;

// The check samples 101 headers, one, and 2049 positions backwards. The first pass goes over the
// file once, with 2048 steps through damage. The second goes around three times at most: from the
// predicted start to the file's end, once around, and then it has met as many entries as there are;
// and once more to find a start behind the end.
constexpr uint64_t allowance_of_start(uint64_t capacity) {
  const uint64_t check = probe * (101 + 1 + 2049);
  const uint64_t first_pass =
      headers_in(capacity) * (probe + 2 * rewrite + null_entry) + probe * 2049;
  const uint64_t second_pass = headers_in(capacity) * probe * 4;
  return around + check + first_pass + second_pass;
}

// The walk over the entry headers goes around as long as a lap meets damage or rewrites a header.
// Damage that is survived is at least 24 bytes long, of 8192 in all; and behind each such lap one
// lap at most rewrites without meeting any.
constexpr uint64_t allowance_of_sweep(uint64_t capacity) {
  const uint64_t laps = 2 * (8192 / 24) + 3;
  return allowance_of_start(capacity) + laps * headers_in(capacity) * (probe + 2 * rewrite) +
         2049 * (probe + null_entry);
}

// The search for an entry to update goes around twice. Space making begins again at most twice for
// each null entry that it writes, of which each costs four of 5120 bytes of damage.
constexpr uint64_t allowance_of_request(uint64_t capacity) {
  const uint64_t null_entries = 5120 / 4;
  return around + 2 * headers_in(capacity) * probe +
         (2 * null_entries + 2) * headers_in(capacity) * probe +
         null_entries * (probe + rewrite + null_entry);
}

}  // namespace vesk::test
