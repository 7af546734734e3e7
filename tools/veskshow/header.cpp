// --header: what the global header of each file says, and what that means.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "format/vesk_checksum.h"
#include "reader/vesk_ring_summary.h"
#include "tools/shared/text.h"
#include "tools/veskshow/jobs.h"
#include "tools/veskshow/table.h"

namespace vesk::veskshow {

namespace {

// A global header of which perhaps not all bytes are there.
struct found_header {
  vesk_gheader header;  // what is not there is 0
  size_t size;          // how many bytes are there
};

found_header header_of(ring_bytes image) {
  found_header found{{}, std::min(image.size(), sizeof(vesk_gheader))};
  if (found.size > 0) std::memcpy(&found.header, image.data(), found.size);
  return found;
}

void append_line(std::string &out, std::string_view key, std::string_view value) {
  out.append(key).append(": ").append(value).append("\n");
}

std::string in_hex(uint16_t word) {
  return shared::formatted("0x%04x", word);
}

void append_fields(std::string &out, const found_header &found, uint32_t capacity) {
  const vesk_gheader &header = found.header;
  const auto append = [&](std::string_view key, size_t end, std::string value, bool right = true,
                          const std::string &remark = "") {
    if (!right) value += " (" + remark + ")";
    append_line(out, key, end <= found.size ? value : unknown_cell);
  };
  const std::string_view magic(header.magic, sizeof header.magic);
  append("magic", offsetof(vesk_gheader, version), shared::safely(magic), magic == "vesk",
         "should be vesk");
  append("version", offsetof(vesk_gheader, reserved), std::to_string(header.version),
         header.version == VESK_VERSION, "should be 1");
  append("reserved", offsetof(vesk_gheader, checksum), std::to_string(header.reserved),
         header.reserved == 0, "should be 0");
  // It is over the whole header that a checksum is right or wrong.
  const bool holds = found.size < sizeof header || checksum_holds(header);
  vesk_gheader mended = header;
  set_checksum(mended);
  append("checksum", offsetof(vesk_gheader, max), in_hex(header.checksum), holds,
         "should be " + in_hex(mended.checksum));
  append("max", offsetof(vesk_gheader, start), std::to_string(header.max),
         capacity == unknown_capacity || header.max == capacity,
         "the catalogue says " + std::to_string(capacity));
  append("start", offsetof(vesk_gheader, end), std::to_string(header.start));
  append("end", sizeof header, std::to_string(header.end));
}

// --- what they mean ---

std::string wrapped_text(const ring_state &ring) {
  if (ring.start == ring.end) return "no, the ring is empty";
  if (!ring.wrapped()) return "no, the live entries lie from start to end";
  return "yes, the live entries run from start to max and on from 20 to end";
}

std::string room_text(const ring_state &ring) {
  const std::string to_wrap = bytes_text(ring.max - ring.end);
  if (!ring.wrapped()) return to_wrap + " until the wrap";
  return bytes_text(ring.start - ring.end) + " up to start, " + to_wrap + " until the next wrap";
}

void append_meaning(std::string &out, const std::optional<ring_state> &ring) {
  append_line(out, "wrapped", ring ? wrapped_text(*ring) : unknown_cell);
  append_line(out, "used",
              ring ? bytes_text(used_bytes(*ring)) + ", " + std::to_string(fill_percent(*ring)) +
                         "% of " + std::to_string(ring->max - VESK_GHEADER_SIZE)
                   : unknown_cell);
  append_line(out, "room", ring ? room_text(*ring) : unknown_cell);
}

// --- whether to believe it ---

std::optional<ring_damage> against_size(const ring_state &ring, size_t size) {
  const uint32_t needed = ring.wrapped() ? ring.max : ring.end;
  if (size >= needed) return {};
  const std::string reason = ring.wrapped()
                                 ? "the ring has wrapped, but the file ends before its capacity of "
                                 : "the file ends before end ";
  return ring_damage{static_cast<uint32_t>(size), reason + std::to_string(needed)};
}

// What speaks against the header, the entries left aside.
std::optional<ring_damage> against_header(const ring_walk &walk) {
  if (walk.state) {
    if (auto damage = against_size(*walk.state, walk.image.size())) return damage;
  }
  return walk.damage;
}

bool append_header(std::string &out, ring_bytes image, uint32_t capacity) {
  const found_header found = header_of(image);
  std::string hex;
  shared::append_hex(hex, image.first(found.size));
  append_line(out, "bytes", hex.empty() ? unknown_cell : hex);
  append_fields(out, found, capacity);

  const ring_walk walk = begin_walk(image, capacity);
  append_line(out, "size", bytes_text(image.size()));
  append_meaning(out, walk.state);
  const auto damage = against_header(walk);
  append_line(out, "trusted", damage ? "no, " + shared::damage_text(*damage) : "yes");
  return !damage;
}

}  // namespace

void show_headers(const request &asked, output &out) {
  std::vector<uint8_t> image;
  bool first = true;
  for (const shared::log_file &file : asked.files) {
    if (!read_image(file, image, out)) continue;
    if (asked.files.size() > 1) {
      out.text.append(first ? "==> " : "\n==> ").append(shared::safely(file.path)).append(" <==\n");
    }
    first = false;
    if (!append_header(out.text, image, shared::capacity_of(file))) out.status = exit_problem;
  }
}

}  // namespace vesk::veskshow
