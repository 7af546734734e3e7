// What the command line asks for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "format/vesk_catalogue.h"
#include "tools/shared/time.h"

namespace vesk::veskshow {

enum class job : uint8_t { entries, list, header, verify, map, salvage, stats, preserve };

enum class output_format : uint8_t {
  short_full,  // the default: one line an entry, local date and time
  short_iso,
  short_unix,
  verbose,
  json,
  json_pretty,
  journal_export,
  cat,
  hex,
  raw,
};

enum class when : uint8_t { automatic, always, never };

struct options {
  std::vector<std::string> arguments;  // FILE|NAME|TYPE
  std::string directory = VESK_LOG_DIR;
  bool directory_given = false;

  job what = job::entries;
  std::string preserve_directory;
  std::optional<size_t> preserve_limit;  // in MiB
  output_format format = output_format::short_full;
  shared::time_zone zone = shared::time_zone::local;
  std::string names_file;  // empty when there is none
  when color = when::automatic;
  bool pager = true;  // where standard output is a terminal
  bool quiet = false;

  // Which entries, as they were typed; tools/veskshow/filter.h understands them.
  std::string since;  // empty: not asked for
  std::string until;
  std::vector<std::string> uuids;
  std::vector<std::string> types;
  std::string pattern;
  bool pattern_given = false;  // an empty pattern matches everything
  std::optional<size_t> last;  // how many at most, the newest
  bool reverse = false;
  bool follow = false;
};

// Whether any option chooses among the entries.
[[nodiscard]] bool has_filter(const options &wanted);

// Reads the command line. Returns nothing when the program is to go on, else the exit status, after
// printing the help, the version, or on standard error what is wrong.
[[nodiscard]] std::optional<int> parse_command_line(int argc, char **argv, options &ret_wanted);

}  // namespace vesk::veskshow
