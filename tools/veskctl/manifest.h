// What a snapshot holds: the two files that say so.
#pragma once

#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "base/vesk_failure.h"
#include "format/vesk_catalogue.h"
#include "reader/vesk_ring_summary.h"

namespace vesk::veskctl {

inline constexpr char manifest_name[] = "MANIFEST.json";
inline constexpr char sums_name[] = "SHA256SUMS";

struct copied_file {
  const vesk_catalogue_row *row;
  failure trouble;  // why there is no copy; the rest says nothing then
  size_t size;
  timespec modified;
  std::string sha256;  // in hexadecimal
  ring_summary summary;
};

struct copied_files {
  timespec taken;
  std::string directory;  // that was copied
  std::vector<copied_file> files;

  [[nodiscard]] bool complete() const;  // whether there is a copy of every file
};

// The manifest, in JSON.
[[nodiscard]] std::string manifest_of(const copied_files &taken);

// The sums of every copy and of the manifest, as sha256sum(1) reads them.
[[nodiscard]] std::string sums_of(const copied_files &taken, std::string_view manifest);

}  // namespace vesk::veskctl
