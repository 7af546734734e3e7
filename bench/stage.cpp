#include "bench/stage.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace vesk::bench {

namespace fs = std::filesystem;

namespace {

const fs::path kept = "/tmp/bench";

void replace(const fs::path &to, const fs::path &from) {
  fs::remove_all(to);
  fs::create_directories(to.parent_path());
  fs::copy(from, to, fs::copy_options::recursive);
}

// The program stays ours to stop; strace becomes the process of nobody.
command under_strace(const command &options, const command &program) {
  command line = {"strace", "-D", "-s", "0", "-o", calls_log};
  line.insert(line.end(), options.begin(), options.end());
  line.insert(line.end(), program.begin(), program.end());
  return line;
}

}  // namespace

void clear_stage() {
  if (!fs::exists("/.vesk-root")) {
    throw std::runtime_error(
        "the benchmarks change files under /mnt/vesk and run in a private root only");
  }
  for (const auto &entry : fs::directory_iterator(log_dir)) fs::remove_all(entry);
  fs::create_directories(run_dir);
  fs::create_directories(kept);
  std::ofstream("/kyte_mounted");
  std::ofstream(fs::path(run_dir) / "vesk_sup.pid") << "1\n";
}

void keep_files(const std::string &name) {
  replace(kept / name, log_dir);
}

void bring_files(const std::string &name) {
  for (const auto &entry : fs::directory_iterator(log_dir)) fs::remove_all(entry);
  if (!name.empty()) fs::copy(kept / name, log_dir, fs::copy_options::recursive);
}

void fill(const log_record &record, uint32_t count) {
  run({"vesk_walk", "log", std::to_string(record.file_type), std::to_string(record.length),
       std::to_string(count), "--type", std::to_string(record.type), "--text", record.text});
}

command watched(const command &program) {
  return under_strace({}, program);
}

command with_writes_watched(const command &program) {
  return under_strace({"-f", "-y", "-e", "trace=/write"}, program);
}

void wait_for_log() {
  for (int i = 0; i < 1000; ++i) {
    std::ifstream lines(calls_log);
    std::string last;
    for (std::string line; std::getline(lines, line);) last = line;
    if (last.find("+++ exited") != last.npos) return;
    usleep(10'000);
  }
  throw std::runtime_error("strace does not come to an end");
}

}  // namespace vesk::bench
