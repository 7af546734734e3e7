#include "tests/support/ram_flash.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "tests/support/real_calls.h"

namespace vesk::test {

namespace {

ram_flash *active;

constexpr size_t room = 32 << 20;       // for one file
constexpr uint64_t patience = 100'000;  // calls that are refused before the process is aborted
constexpr timeval standing_clock{0x60000000, 777};

int32_t refuse(int error) {
  errno = error;
  return -1;
}

}  // namespace

ram_flash::ram_flash() {
  if (active != nullptr) throw std::logic_error("one flash at a time");
  active = this;
}

ram_flash::~ram_flash() {
  active = nullptr;
}

void ram_flash::put(const std::string &path, image bytes) {
  files_[path] = std::make_shared<file>(file{path, std::move(bytes)});
}

void ram_flash::remove(std::string_view path) {
  const auto found = files_.find(path);
  if (found != files_.end() && powered_bytes_ > 0) files_.erase(found);
}

const image *ram_flash::find(std::string_view path) const {
  const auto found = files_.find(path);
  return found == files_.end() ? nullptr : &found->second->bytes;
}

void ram_flash::allow(uint64_t calls) {
  calls_ = 0;
  allowed_ = calls;
}

std::vector<std::string> ram_flash::open_files() const {
  std::vector<std::string> paths;
  for (const auto &[fd, use] : open_) paths.push_back(use.to->path);
  return paths;
}

// Whether one more call may do its work.
bool ram_flash::spend() {
  ++calls_;
  if (!overspent()) return powered_bytes_ > 0;
  if (calls_ - allowed_ > patience) {
    std::fprintf(stderr, "the code goes on although every call fails\n");
    std::abort();
  }
  return false;
}

ram_flash::open_file *ram_flash::opened(int32_t fd) {
  const auto found = open_.find(fd);
  return found == open_.end() ? nullptr : &found->second;
}

int32_t ram_flash::open(const char *path, int flags) {
  if (!spend()) return refuse(EBADF);
  auto found = files_.find(std::string_view(path));
  if (found == files_.end()) {
    if ((flags & O_CREAT) == 0) return refuse(ENOENT);
    put(path, {});
    found = files_.find(std::string_view(path));
  }
  open_[next_fd_] = {.to = found->second};
  return next_fd_++;
}

int32_t ram_flash::size(const char *path, uint32_t *bytes) {
  if (!spend()) return refuse(EBADF);
  const image *content = find(path);
  if (content == nullptr) return refuse(ENOENT);
  *bytes = static_cast<uint32_t>(content->size());
  return 0;
}

int64_t ram_flash::seek(int32_t fd, int64_t offset) {
  open_file *use = opened(fd);
  if (!spend() || use == nullptr) return refuse(EBADF);
  if (offset < 0) return refuse(EINVAL);
  use->position = static_cast<uint32_t>(offset);
  return offset;
}

int64_t ram_flash::read(int32_t fd, void *buf, size_t count) {
  open_file *use = opened(fd);
  if (!spend() || use == nullptr) return refuse(EBADF);
  const image &bytes = use->to->bytes;
  const size_t from = std::min<size_t>(use->position, bytes.size());
  const size_t got = std::min(count, bytes.size() - from);
  if (got > 0) std::memcpy(buf, bytes.data() + from, got);
  use->position += static_cast<uint32_t>(got);
  return static_cast<int64_t>(got);
}

int64_t ram_flash::write(int32_t fd, const void *buf, size_t count) {
  open_file *use = opened(fd);
  if (!spend() || use == nullptr) return refuse(EBADF);
  if (use->position + count > room) return refuse(ENOSPC);
  const auto *first = static_cast<const uint8_t *>(buf);
  if (on_write) on_write(use->to->path, use->position, {first, count});

  const auto reached = static_cast<size_t>(std::min<uint64_t>(count, powered_bytes_));
  if (powered_bytes_ != UINT64_MAX) powered_bytes_ -= reached;
  image &bytes = use->to->bytes;
  if (reached > 0) {
    bytes.resize(std::max<size_t>(bytes.size(), use->position + reached));
    std::memcpy(bytes.data() + use->position, first, reached);
  }
  use->position += static_cast<uint32_t>(count);
  return static_cast<int64_t>(count);
}

int32_t ram_flash::close(int32_t fd) {
  return open_.erase(fd) == 1 ? 0 : refuse(EBADF);
}

int32_t ram_flash::clock(timeval *now) {
  *now = standing_clock;
  return 0;
}

}  // namespace vesk::test

using vesk::test::active;
using vesk::test::standing_clock;

namespace {

constexpr int first_memfd = 1'000'000;

// What the code under test makes with memfd_create(): in memory as well, so that a copy of a log
// file is worked on as fast as the file. No flash, and so without its limits.
struct memfd {
  vesk::test::image bytes;
  size_t position = 0;
};
std::map<int, memfd> memfds;

memfd *memfd_of(int fd) {
  const auto found = memfds.find(fd);
  return found == memfds.end() ? nullptr : &found->second;
}

// The standard streams are nobody's log files.
bool on_flash(int fd) {
  return active != nullptr && (fd < STDIN_FILENO || fd > STDERR_FILENO);
}

off_t seek_in(memfd &file, off_t offset) {
  if (offset < 0) return vesk::test::refuse(EINVAL);
  file.position = static_cast<size_t>(offset);
  return offset;
}

ssize_t read_from(memfd &file, void *buf, size_t count) {
  const size_t from = std::min(file.position, file.bytes.size());
  const size_t got = std::min(count, file.bytes.size() - from);
  if (got > 0) std::memcpy(buf, file.bytes.data() + from, got);
  file.position += got;
  return static_cast<ssize_t>(got);
}

ssize_t write_to(memfd &file, const void *buf, size_t count) {
  file.bytes.resize(std::max(file.bytes.size(), file.position + count));
  if (count > 0) std::memcpy(file.bytes.data() + file.position, buf, count);
  file.position += count;
  return static_cast<ssize_t>(count);
}

}  // namespace

extern "C" {

int __wrap_open(const char *path, int flags, ...) {
  std::va_list args;
  va_start(args, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(args, mode_t) : 0;
  va_end(args);
  return active != nullptr ? active->open(path, flags) : __real_open(path, flags, mode);
}

int __wrap_stat(const char *path, struct stat *st) {
  if (active == nullptr) return __real_stat(path, st);
  uint32_t size = 0;
  if (active->size(path, &size) != 0) return -1;
  *st = {};
  st->st_mode = S_IFREG | 0644;
  st->st_size = size;
  return 0;
}

int __wrap_memfd_create(const char *, unsigned) {
  const int fd = memfds.empty() ? first_memfd : memfds.rbegin()->first + 1;
  memfds[fd] = {};
  return fd;
}

off_t __wrap_lseek(int fd, off_t offset, int whence) {
  if (memfd *file = memfd_of(fd)) return seek_in(*file, offset);
  return on_flash(fd) ? static_cast<off_t>(active->seek(fd, offset))
                      : __real_lseek(fd, offset, whence);
}

ssize_t __wrap_read(int fd, void *buf, size_t count) {
  if (memfd *file = memfd_of(fd)) return read_from(*file, buf, count);
  return on_flash(fd) ? static_cast<ssize_t>(active->read(fd, buf, count))
                      : __real_read(fd, buf, count);
}

ssize_t __wrap_write(int fd, const void *buf, size_t count) {
  if (memfd *file = memfd_of(fd)) return write_to(*file, buf, count);
  return on_flash(fd) ? static_cast<ssize_t>(active->write(fd, buf, count))
                      : __real_write(fd, buf, count);
}

int __wrap_close(int fd) {
  if (memfds.erase(fd) == 1) return 0;
  return on_flash(fd) ? active->close(fd) : __real_close(fd);
}

int __wrap_gettimeofday(timeval *tv, void *) {
  if (active != nullptr) return active->clock(tv);
  *tv = standing_clock;
  return 0;
}

}  // extern "C"
