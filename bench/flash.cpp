#include "bench/flash.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "bench/process.h"
#include "bench/stage.h"

namespace vesk::bench {

namespace {

constexpr char image[] = "/tmp/bench/flash.image";
constexpr auto size = 256UL << 20;
constexpr double sector = 512;

std::string device_of(const char *path) {
  struct stat st {};
  stat(path, &st);
  return std::to_string(major(st.st_dev)) + " " + std::to_string(minor(st.st_dev));
}

void sync_file_system(const char *path) {
  const int directory = open(path, O_RDONLY | O_DIRECTORY);
  syncfs(directory);
  close(directory);
}

}  // namespace

flash::flash(int block_size) {
  std::filesystem::remove(image);
  std::ofstream(image).close();
  std::filesystem::resize_file(image, size);
  // What is otherwise made little by little in the background would be counted too.
  run({"mkfs.ext4", "-q", "-b", std::to_string(block_size), "-E",
       "lazy_itable_init=0,lazy_journal_init=0", image});
  run({"mount", "-o", "loop", image, log_dir});
  device_ = device_of(log_dir);
}

flash::~flash() {
  umount2(log_dir, MNT_DETACH);
}

flash::counts flash::written() const {
  sync_file_system(log_dir);
  std::ifstream table("/proc/diskstats");
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields(line);
    std::string numbers[2], name;
    double reads, merged_reads, sectors_read, read_ms, writes, merged_writes, sectors_written;
    fields >> numbers[0] >> numbers[1] >> name >> reads >> merged_reads >> sectors_read >>
        read_ms >> writes >> merged_writes >> sectors_written;
    if (numbers[0] + " " + numbers[1] == device_) return {sectors_written * sector, writes};
  }
  throw std::runtime_error("the kernel does not count what is written to " + device_);
}

bool flash_is_possible() {
  try {
    flash(1024).written();
    return true;
  } catch (const std::runtime_error &error) {
    std::fprintf(stderr, "vesk_bench: no figures for a device of its own: %s\n", error.what());
    return false;
  }
}

}  // namespace vesk::bench
