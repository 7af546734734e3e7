// Copies of log files that something is about to change or remove, kept within bounds.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "base/vesk_failure.h"
#include "forecast/vesk_forecast.h"
#include "tools/shared/files.h"
#include "tools/shared/repairs.h"

namespace vesk::shared {

inline constexpr uint32_t preserve_limit_mib = 64;

// Where the packaged service has its copies, and veskctl too.
inline constexpr char preserve_directory[] = "/var/lib/vesk/preserved";

// A log file as it is now.
struct evidence {
  log_file file;  // of the catalogue
  std::vector<uint8_t> bytes;
  timespec modified;
  file_forecast predicted;  // without the rebuilt file
};

// Reads the file and predicts its fate; where that cannot be done, the evidence is of no use.
failure examine(const log_file &file, repairs_end &repairs, evidence &ret_found);

struct preserve_request {
  std::string directory;  // where the copies are kept
  uint64_t limit;         // bytes that they may take there, all together
  std::string source;     // the directory of the log files
  std::string occasion;   // "start" or "recover"
};

// What became of one file.
struct preserved_file {
  std::string name;
  std::string path;  // of the copy
  file_fate fate;
  bool known;  // the newest copy of this file already held the same bytes, and no other was made
};

struct preserve_trouble {
  std::string subject;
  std::string reason;
};

struct preserve_result {
  std::vector<preserved_file> files;
  std::vector<std::string> evicted;  // paths of sets that were removed to make room
  std::vector<preserve_trouble> troubles;
};

// Copies the files of one directory into a new set, and removes the oldest sets to make room. Sets
// with bytes that lie in the log directory now are never removed. What does not fit is left out and
// reported as a trouble: files that would be removed come first, then those that would be rebuilt,
// then the rest, and of them the smaller ones first.
[[nodiscard]] preserve_result preserve(const preserve_request &asked,
                                       const std::vector<evidence> &found);

// The note that lies beside the copies of a set, in JSON.
inline constexpr char note_name[] = "verdicts.json";
[[nodiscard]] std::string note_of(const preserve_request &asked, const timespec &now,
                                  const std::vector<const evidence *> &copied);

}  // namespace vesk::shared
