// What a power cut leaves of the writes of an operation.
//
// A write is torn at any byte. Writes that were waited for one by one are on the flash in their
// order; of others, any may be there and any may be missing when the power goes.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "tests/support/ram_flash.h"

namespace vesk::test {

using maybe_image = std::optional<image>;  // without a value there is no file

struct flash_write {
  uint32_t offset;
  image bytes;  // none: the file is made, and nothing written yet

  bool operator==(const flash_write &) const = default;
};

// Writes number `torn` got as far as `bytes`; bit i of `whole` stands for write i.
struct power_cut {
  uint64_t whole;
  size_t torn;
  size_t bytes;

  bool operator==(const power_cut &) const = default;
};

bool is_whole(const power_cut &cut, size_t first, size_t end);

// All cuts of writes that reach the flash in their order: before the first byte and after each.
std::vector<power_cut> cuts_in_order(const std::vector<flash_write> &writes);

// All cuts of writes that reach it in any order: each selection of whole writes, and each with one
// more that is torn between any two of its bytes.
std::vector<power_cut> cuts_in_any_order(const std::vector<flash_write> &writes);

// What is on the flash then. Whole writes count in the order in which they were made, the torn one
// last.
maybe_image after_cut(const maybe_image &before, const std::vector<flash_write> &writes,
                      const power_cut &cut);

}  // namespace vesk::test
