// A log file read into memory.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "base/vesk_failure.h"
#include "base/vesk_fd.h"

namespace vesk {

// Far above the largest log file; anything larger is not one, and is not read.
constexpr size_t ring_image_limit = size_t{64} << 20;

// Reads the regular file at `path` whole; where that fails, the image holds nothing of use.
// `capacity` as for begin_walk().
//
// The file may be written to meanwhile. A header that moved during the reading, or a chain broken
// only because an entry is there before the header that counts it, is not damage: a file that was
// written to just now is read again until it is whole, for about a third of a second.
failure read_ring_image(const std::string &path, uint32_t capacity,
                        std::vector<uint8_t> &ret_image);

// The same in parts. Opens the file for reading; waits for nothing, whatever it is. Where that
// fails, errno says why.
[[nodiscard]] unique_fd open_ring(const std::string &path);
failure read_ring_image(int fd, uint32_t capacity, std::vector<uint8_t> &ret_image);

// Fills `buffer` from `offset` on as far as the file goes. Returns the count, or -1.
[[nodiscard]] ssize_t read_ring_bytes(int fd, std::span<uint8_t> buffer, size_t offset);

}  // namespace vesk
