// What the command line asks for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "format/vesk_format.h"
#include "protocol/vesk_messages.h"
#include "protocol/vesk_wire.h"
#include "tools/shared/flash.h"

namespace vesk::veskctl {

// What the daemon prints or records, in the order of their numbers in vesk_wire_debug.
inline constexpr const char *level_names[] = {"none", "error", "trace"};

struct options {
  std::string subcommand;  // as it was typed
  std::string run_dir;     // empty: where the library looks by itself
  double timeout = 5;      // in seconds, for each request

  // Of more than one subcommand.
  uint32_t file_type = 0;  // send, recover; 0 for all: enable, disable, clear
  uint32_t slot = 0;       // config, fail-notice
  bool json = false;       // stats, status
  std::string directory = shared::log_directory;  // metrics, snapshot: where the log files are

  // Of one subcommand each.
  uint32_t failure_kind = VESK_FLASH_FAILURE;  // fail-notice
  size_t newest = 0;                           // history: how many events; 0: all
  std::string output;                          // metrics: a file; empty: standard output
  std::string target;                          // snapshot: a directory

  struct {
    uint32_t uuid = 0;
    uint32_t type = VESK_MIN_OBJECT_TYPE;
    uint32_t flags = 0;
    uint8_t sync = VESK_SYNC_ANSWER;
    bool update = false;
    uint32_t instance = 0;
    std::optional<uint64_t> time;  // in microseconds since 1970; nothing: now
    bool allow_large = false;
    bool whole = false;
    std::string text;  // empty: what is on standard input
  } send;

  struct {
    bool all_files = false;
    std::vector<uint32_t> files;  // to be enabled; every other one is disabled
    std::string raw;              // the path of a prepared payload, which then is all that counts
  } config;

  struct {
    bool entries = false;
    bool no_copy = false;
  } recover;

  struct {
    uint8_t print = VESK_WIRE_DEBUG_KEEP;
    uint8_t record = VESK_WIRE_DEBUG_KEEP;
  } debug;

  struct {
    uint64_t count = 0;  // of messages; 0: for ever
    double seconds = 0;  // 0: for ever
  } monitor;
};

// Reads the command line. Returns nothing when the program is to go on, else the exit status, after
// printing the help, the version, or on standard error what is wrong.
[[nodiscard]] std::optional<int> parse_command_line(int argc, char **argv, options &wanted);

}  // namespace vesk::veskctl
