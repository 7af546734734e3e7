// Damages a log file as worn flash or a power cut does, and says in one line what was done.
//
//   vesk_damage CASE FILE            while no daemon runs
//   vesk_damage torn-... FILE COPY   the same, with a copy made before the file's last append
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iostream>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "format/vesk_checksum.h"
#include "format/vesk_ring.h"
#include "reader/vesk_ring_image.h"
#include "reader/vesk_ring_walk.h"

namespace vesk::test {
namespace {

using bytes = std::vector<uint8_t>;

// What a case works on. The rings whose entries are counted have not wrapped.
struct damaged_file {
  bytes now;
  bytes before;  // empty except in the cases that take a copy
};

bytes content_of(const std::string &path) {
  bytes content;
  if (const failure why = read_ring_image(path, unknown_capacity, content)) {
    throw std::runtime_error(path + ": " + why.reason);
  }
  return content;
}

void store(const std::string &path, const bytes &content) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char *>(content.data()),
             static_cast<std::streamsize>(content.size()));
  file.close();
  if (!file) throw std::runtime_error(path + ": cannot be written");
}

ring_state state_of(const bytes &file) {
  const ring_walk walk = begin_walk(file, unknown_capacity);
  if (!walk.state) throw std::runtime_error("the global header is not to be trusted");
  return *walk.state;
}

bool header_holds(const bytes &file, uint32_t offset) {
  vesk_ehdr header;
  if (offset + sizeof header > file.size()) return false;
  std::memcpy(&header, &file[offset], sizeof header);
  return checksum_holds(header);
}

struct place {
  uint32_t offset;  // of an entry's header
  uint32_t behind;  // of the next one's
};

// Where the n-th oldest entry is; the oldest is the first.
place nth_entry(const bytes &file, uint32_t n) {
  ring_walk walk = begin_walk(file, unknown_capacity, null_entries::show);
  std::optional<ring_entry> entry;
  for (uint32_t i = 0; i < n; ++i) {
    entry = next_entry(walk);
    if (!entry) throw std::runtime_error("there are fewer than " + std::to_string(n) + " entries");
  }
  return {entry->offset, entry->offset + entry_span(static_cast<uint32_t>(entry->data.size()))};
}

// Overwrites bytes with a pattern in which no header begins that holds.
void overwrite(bytes &file, uint32_t offset, uint32_t count) {
  constexpr uint8_t pattern[] = {0x5A, 0xA5, 0xC3, 0x3C};
  for (uint32_t i = 0; i < count; ++i) file.at(offset + i) = pattern[i % 4];
}

// Makes sure that the damage is what it is said to be: no header holds but the one behind it.
void expect_stretch(const bytes &file, const place &stretch) {
  for (uint32_t at = stretch.offset; at < stretch.behind; at += VESK_DAMAGE_STEP) {
    if (header_holds(file, at)) {
      throw std::runtime_error("a header at " + std::to_string(at) + " holds after all");
    }
  }
  if (!header_holds(file, stretch.behind)) {
    throw std::runtime_error("no header at " + std::to_string(stretch.behind) + " holds");
  }
}

// --- the cases: each changes file.now and returns what it did ---

std::string break_checksum(damaged_file &file) {
  const place entry = nth_entry(file.now, 5);
  const uint32_t checksum = entry.offset + offsetof(vesk_ehdr, checksum);
  overwrite(file.now, checksum, sizeof(be16));
  expect_stretch(file.now, entry);
  return "the checksum at " + std::to_string(checksum) + " is overwritten.";
}

std::string damage_24(damaged_file &file) {
  const place entry = nth_entry(file.now, 11);
  overwrite(file.now, entry.offset, 24);
  expect_stretch(file.now, {entry.offset, entry.offset + 24});
  return "24 bytes at " + std::to_string(entry.offset) + " are overwritten.";
}

std::string damage_8(damaged_file &file) {
  const place entry = nth_entry(file.now, 5);
  overwrite(file.now, entry.offset, 8);
  expect_stretch(file.now, entry);
  return "8 bytes at " + std::to_string(entry.offset) + " are overwritten.";
}

// An update by eight bytes less has left a gap behind the entry: its end is not the next header.
std::string damage_8_between(damaged_file &file) {
  const uint32_t gap = nth_entry(file.now, 11).behind;
  overwrite(file.now, gap, 8);
  expect_stretch(file.now, {gap, gap + 8});
  return "8 bytes at " + std::to_string(gap) + " are overwritten, which an update left over.";
}

std::string change_version(damaged_file &file) {
  constexpr uint32_t version = offsetof(vesk_gheader, version);
  file.now.at(version) = VESK_VERSION + 1;
  return "the version at " + std::to_string(version) + " is now " +
         std::to_string(file.now[version]) + ".";
}

// Takes back the end of what the last append wrote: the last word of its entry, and behind that the
// global header.
std::string tear_append(damaged_file &file) {
  const uint32_t entry = state_of(file.before).end;
  const uint32_t end = state_of(file.now).end;
  if (end <= entry || !header_holds(file.now, entry)) {
    throw std::runtime_error("the copy is not of the file before its last append");
  }
  const uint32_t torn = end - 4;
  const auto copy = [&](uint32_t from, size_t to) {
    for (size_t at = from; at < to; ++at) file.now[at] = file.before[at];
  };
  copy(0, VESK_GHEADER_SIZE);
  if (file.before.size() > torn) {
    copy(torn, std::min<size_t>(end, file.before.size()));
  } else {
    file.now.resize(torn);  // the append had made the file longer
  }
  return "of one more append only " + std::to_string(torn - entry) + " of " +
         std::to_string(end - entry) + " bytes at " + std::to_string(entry) + " were written.";
}

std::string tear_gheader(damaged_file &file) {
  constexpr uint32_t torn = offsetof(vesk_gheader, max);
  for (uint32_t at = torn; at < VESK_GHEADER_SIZE; ++at) file.now.at(at) = file.before.at(at);
  return "of the last global header only " + std::to_string(torn) + " of its " +
         std::to_string(VESK_GHEADER_SIZE) + " bytes were written.";
}

struct damage_case {
  std::string_view name;
  bool takes_copy;
  std::string (*inflict)(damaged_file &file);
};

constexpr damage_case cases[] = {
    {"broken-checksum", false, break_checksum},
    {"damaged-24", false, damage_24},
    {"damaged-8", false, damage_8},
    {"damaged-8-between", false, damage_8_between},
    {"wrong-version", false, change_version},
    {"torn-append", true, tear_append},
    {"torn-global-header", true, tear_gheader},
};

int usage() {
  std::cerr << "Usage: vesk_damage CASE FILE\n       vesk_damage CASE FILE COPY\n\nCases:\n";
  for (const damage_case &known : cases) {
    std::cerr << "  " << known.name << (known.takes_copy ? " (with a copy)" : "") << "\n";
  }
  return 2;
}

int run(std::span<const char *const> words) {
  for (const damage_case &wanted : cases) {
    if (words.size() != (wanted.takes_copy ? 3 : 2) || words[0] != wanted.name) continue;
    damaged_file file{content_of(words[1]), wanted.takes_copy ? content_of(words[2]) : bytes()};
    const std::string done = wanted.inflict(file);
    store(words[1], file.now);
    std::cout << done << "\n";
    return 0;
  }
  return usage();
}

}  // namespace
}  // namespace vesk::test

int main(int argc, char **argv) {
  try {
    return vesk::test::run({argv + 1, static_cast<size_t>(argc - 1)});
  } catch (const std::exception &e) {
    std::cerr << "vesk_damage: " << e.what() << "\n";
    return 1;
  }
}
