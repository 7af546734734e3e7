// A log store that runs: the daemon, or what people would use instead, each with the same records
// over a socket of its own.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "bench/process.h"

namespace vesk::bench {

// When a record has to be on the device.
enum class flushing : uint8_t {
  by_the_kernel,  // some time
  each_record,    // at once, before the next record
};

struct store {
  std::string name;
  std::string socket;
  // Kept files (bench/stage.h) that it begins with, and those of it when it is full.
  std::string begins_with;
  std::string full;
  // Makes its settings; its files are there.
  std::function<void(flushing)> set_up;
  std::function<command(flushing)> program;
  // A record with this text, as its socket takes it.
  std::function<std::vector<uint8_t>(const std::string &text, flushing)> record;
  // Show the ten last records; show those that have this word.
  command last_ten;
  std::function<command(const std::string &word)> search;
  // False where it changes its files in memory, and the kernel does not count how much.
  bool writes_are_counted = true;
};

// Throws std::runtime_error unless so many of its records have this word in them.
void check_that_all_are_stored(const store &checked, const std::string &word, int records);

// How often each is measured, in turn.
inline constexpr int rounds_of_stores = 5;

// The daemon and its tools: a ring that has wrapped, and sixteen full files.
store our_store();

// The others. Where the system has not installed the programs they lie in this folder, unpacked
// from their packages.
std::vector<store> peer_stores(const std::string &packages);

}  // namespace vesk::bench
