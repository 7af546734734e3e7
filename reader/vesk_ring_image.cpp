#include "reader/vesk_ring_image.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "reader/vesk_ring_summary.h"

namespace vesk {

namespace {

constexpr int rereads = 30;
constexpr std::chrono::milliseconds reread_pause{10};
constexpr std::chrono::seconds live_time{3};

failure check_that_it_may_be_one(const struct stat &status) {
  if (S_ISDIR(status.st_mode)) return {errno_text(EISDIR)};
  if (!S_ISREG(status.st_mode)) return {"Not a regular file"};
  if (status.st_size > static_cast<off_t>(ring_image_limit)) {
    return {"Larger than " + std::to_string(ring_image_limit >> 20) + " MiB: not a log file"};
  }
  return {};
}

// Reads as much as the file holds at this moment.
failure read_once(int fd, std::vector<uint8_t> &ret_image) {
  struct stat status;
  if (fstat(fd, &status) != 0) return {errno_text(errno)};
  if (failure why = check_that_it_may_be_one(status)) return why;
  ret_image.resize(static_cast<size_t>(status.st_size));
  const ssize_t got = read_ring_bytes(fd, ret_image, 0);
  if (got < 0) return {errno_text(errno)};
  ret_image.resize(static_cast<size_t>(got));
  return {};
}

bool header_moved(int fd, const std::vector<uint8_t> &image) {
  std::array<uint8_t, VESK_GHEADER_SIZE> header;
  const ssize_t got = read_ring_bytes(fd, header, 0);
  const size_t expected = std::min(image.size(), header.size());
  return got != static_cast<ssize_t>(expected) ||
         !std::equal(image.begin(), image.begin() + got, header.begin());
}

bool written_just_now(int fd) {
  using namespace std::chrono;
  struct stat status;
  if (fstat(fd, &status) != 0) return false;
  const auto written = system_clock::from_time_t(status.st_mtim.tv_sec);
  return abs(system_clock::now() - written) <= live_time;
}

}  // namespace

ssize_t read_ring_bytes(int fd, std::span<uint8_t> buffer, size_t offset) {
  size_t done = 0;
  while (done < buffer.size()) {
    const ssize_t got =
        pread(fd, buffer.data() + done, buffer.size() - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return -1;
    if (got == 0) break;
    done += static_cast<size_t>(got);
  }
  return static_cast<ssize_t>(done);
}

unique_fd open_ring(const std::string &path) {
  // Without O_NONBLOCK, opening a FIFO would wait for somebody to write to it.
  return unique_fd(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

failure read_ring_image(int fd, uint32_t capacity, std::vector<uint8_t> &ret_image) {
  for (int attempt = 0;; ++attempt) {
    if (failure why = read_once(fd, ret_image)) return why;
    const bool moved = header_moved(fd, ret_image);
    if (!moved && !summarize(ret_image, capacity).damage) return {};
    if (attempt == rereads || !(moved || written_just_now(fd))) return {};
    std::this_thread::sleep_for(reread_pause);
  }
}

failure read_ring_image(const std::string &path, uint32_t capacity,
                        std::vector<uint8_t> &ret_image) {
  const unique_fd fd = open_ring(path);
  if (!fd) return {errno_text(errno)};
  return read_ring_image(fd.get(), capacity, ret_image);
}

}  // namespace vesk
