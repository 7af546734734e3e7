// What is sent to the daemon: parts of a run, and for each sender a row of records that depends on
// the seed alone, except for what the daemon answers.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "format/vesk_ring.h"

namespace vesk::soak {

// A log file, as far as a part uses it.
struct volume {
  uint16_t file_type;
  std::string name;  // without the directory
  uint32_t capacity;
  uint16_t longest;  // data of a record
  uint32_t weight;   // how many records it gets in comparison with others
};

struct part {
  std::string name;
  std::vector<volume> volumes;
  bool wraps;  // otherwise the senders stop before a file is full
  uint32_t senders;
  uint32_t records;  // of each sender, at most
  uint32_t kills;
};

// A number that tells parts apart by their names.
uint64_t number_of(const part &of);

const volume &volume_of(const part &of, uint16_t file_type);

// The bytes of a ring that an entry with so many bytes of data takes.
constexpr uint32_t span_of(uint32_t length) {
  return entry_span(padded(length));
}

// An entry may be given up once as many bytes were appended behind it. Room is made entry by entry,
// for the record or 4096 bytes, whichever is more, and begins anew at the ring's turn: so the ring
// may have given up twice as much and an entry more each time. Besides, room for one record may be
// left at the end of the file, and for one between the newest and the oldest entry.
constexpr uint32_t kept_bytes(uint32_t capacity, uint16_t longest) {
  const uint32_t room = space_for(longest);
  const uint32_t made = room < 4096 ? 4096 : room;
  const uint32_t slack = 2 * (made + span_of(longest)) + 2 * room;
  const uint32_t ring = capacity - VESK_GHEADER_SIZE;
  return ring < slack ? 0 : ring - slack;
}
static_assert(kept_bytes(262144, 1000) == 262144 - 20 - 2 * (4096 + 1020) - 2 * 1044);
static_assert(kept_bytes(262144, 5000) == 262144 - 20 - 2 * (5044 + 5020) - 2 * 5044);
static_assert(kept_bytes(8192, 1000) == 0);

// One record as its sender wants it. Its time stamp, and its type where it is an update, come when
// it is sent.
struct wish {
  uint16_t file_type;
  uint16_t length;
  uint8_t sync;
  bool keyed;  // it updates or begins a row of entries with a type of their own
};

// The shortest record: its own place in the ledger has to fit.
constexpr uint16_t shortest_record = 16;
// All records that update each other have this length.
constexpr uint16_t keyed_length = 64;

class wishes {
 public:
  wishes(const part &of, uint64_t seed, uint32_t sender);

  // The next record; none when all are sent or no file has room for more.
  bool next(wish &made);

  uint32_t below(uint32_t bound);

 private:
  const volume *volume_with_room(size_t wanted, uint32_t span);

  const part &part_;
  std::mt19937_64 random_;
  std::vector<uint32_t> room_;  // left for this sender, by volume; not used where rings wrap
  uint32_t left_;
};

// The data of a record: who sent it as which, then bytes that depend on that and on the seed.
std::vector<uint8_t> content_of(uint64_t seed, uint32_t sender, uint32_t number, uint16_t length);

struct author {
  uint32_t sender;
  uint32_t number;
};

// Who is named in the data of an entry; false when nobody is. Nothing else in it is looked at.
bool author_of(const uint8_t *data, size_t size, author &who);

}  // namespace vesk::soak
