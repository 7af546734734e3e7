// Log files written out byte by byte, as strings that are put together with "+".
//
// The small rings of these tests have a capacity of 120 bytes and are made of the entries below:
// alpha takes 28 bytes, beta 24, gamma 32, a null entry of eight bytes 28.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tests/support/files.h"

namespace vesk::test {

constexpr uint32_t noon = 1714564800;  // 2024-05-01 12:00:00 UTC

struct header_fields {
  uint16_t uuid = 677;
  uint16_t type = 1024;
  std::optional<uint16_t> size = {};  // that of the data where it is not given
  std::optional<uint16_t> sum = {};   // the right one where it is not given
  uint8_t flags = 0;
  uint16_t prev_size = 0;
  uint32_t secs = noon;
  uint32_t usecs = 0;
};

std::string gheader(uint32_t max, uint32_t start, uint32_t end, std::optional<uint16_t> sum = {});
std::string entry(const header_fields &fields, std::string_view data);

// An entry with these data, padded with zeros.
std::string padded_entry(std::string_view data);

// A file of 8 KiB capacity that is not wrapped and holds just these entries.
std::string file_of(const std::string &entries);

std::string alpha();
std::string beta();
std::string gamma_ray();
std::string null8();

// So many bytes that make no header.
std::string stale(size_t count);

// Stores the bytes as a file that nobody has written to since 2024.
void store(const std::string &path, std::string_view bytes);

}  // namespace vesk::test
