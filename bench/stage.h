// The private root that everything runs in: which log files are there when a measurement begins.
#pragma once

#include <cstdint>
#include <string>

#include "bench/log_record.h"
#include "bench/process.h"

namespace vesk::bench {

inline constexpr char log_dir[] = "/mnt/vesk";
inline constexpr char run_dir[] = "/run/vesk";
inline constexpr char queue_path[] = "/run/vesk/sap-1016";
inline constexpr char calls_log[] = "/tmp/bench/calls";  // what strace has seen

// An empty log directory; a mounted flash; a daemon that was here before, so that the next one
// trusts the files. Throws when this is no private root.
void clear_stage();

// Puts the log files that are there now aside under this name, and brings them back; nothing is
// kept under the empty name.
void keep_files(const std::string &name);
void bring_files(const std::string &name);

// Logs so many records with the daemon's own code.
void fill(const log_record &record, uint32_t count);

// Runs a program under strace, which logs its calls on files and on the queue.
command watched(const command &program);
// The same for its writes only, with the names of the files, and of all its threads.
command with_writes_watched(const command &program);
// Waits until the log of a program that has ended is complete.
void wait_for_log();

}  // namespace vesk::bench
