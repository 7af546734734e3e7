// What a snapshot holds: the two files that say so.
#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "format/vesk_catalogue.h"
#include "reader/vesk_ring_summary.h"

namespace vesk::veskctl {

inline constexpr char manifest_name[] = "MANIFEST.json";
inline constexpr char sums_name[] = "SHA256SUMS";

struct copied_file {
  const vesk_catalogue_row *row;
  std::string trouble;  // why there is no copy; the rest says nothing then
  size_t size;
  timespec modified;
  std::string sha256;  // in hexadecimal
  ring_summary summary;
};

struct snapshot {
  timespec taken;
  std::string directory;  // that was copied
  std::vector<copied_file> files;

  bool complete() const;  // whether there is a copy of every file
};

// The manifest, in JSON.
std::string manifest_of(const snapshot &taken);

// The sums of every copy and of the manifest, as sha256sum(1) reads them.
std::string sums_of(const snapshot &taken, std::string_view manifest);

}  // namespace vesk::veskctl
