#include "tests/flash/flash_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/fuse.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

namespace vesk::test {

namespace {

using namespace std::chrono_literals;

flash_plan *plan;
bool asks_for_status;  // the request in work

std::string on_chip(const char *path) {
  return std::string(chip) + path;
}

// A call on a file, while it is served. It is over, and counted as hit, when the chip is as the
// call leaves it; only then does the answer wait.
class served {
 public:
  explicit served(flash_call call) : rule_(plan->rule(call)) {
    ++plan->calls;
    if (rule_.times == 0) return;
    if (rule_.skip > 0) {
      --rule_.skip;
    } else {
      --rule_.times;
      hit_ = true;
    }
  }
  served(const served &) = delete;
  served &operator=(const served &) = delete;
  ~served() {
    if (!hit_) return;
    ++rule_.hits;
    using namespace std::chrono;
    const auto begin = steady_clock::now();
    while (steady_clock::now() - begin < milliseconds(rule_.stay_ms)) {
      std::this_thread::sleep_for(200us);
    }
  }

  bool fails() const { return hit_ && rule_.error != 0; }
  int error() const { return -rule_.error; }
  size_t keep() const { return rule_.keep; }

 private:
  flash_rule &rule_;
  bool hit_ = false;
};

// What a system call returned, as an answer.
int answer(int64_t result) {
  return result < 0 ? -errno : static_cast<int>(result);
}

int descriptor(const fuse_file_info *file) {
  return static_cast<int>(file->fh);
}

// The bytes by which files may still grow.
uint64_t room() {
  uint64_t used = 0;
  for (const auto &file : std::filesystem::directory_iterator(chip)) used += file.file_size();
  return plan->capacity > used ? plan->capacity - used : 0;
}

// How much of a write has room: bytes over existing ones need none.
size_t fitting(int fd, size_t size, off_t offset) {
  struct stat st {};
  fstat(fd, &st);
  const uint64_t over = offset < st.st_size ? static_cast<uint64_t>(st.st_size - offset) : 0;
  if (size <= over || plan->capacity == endless) return size;
  return std::min<uint64_t>(size, over + room());
}

int get_status(const char *path, struct stat *st, fuse_file_info *file) {
  if (path != nullptr && std::string_view(path) == "/") return answer(lstat(chip, st));
  if (!asks_for_status) return answer(lstat(on_chip(path).c_str(), st));
  const served call(flash_call::status);
  if (call.fails()) return call.error();
  return answer(file != nullptr ? fstat(descriptor(file), st) : lstat(on_chip(path).c_str(), st));
}

int open_with(const char *path, mode_t mode, fuse_file_info *file, int more_flags) {
  const served call(flash_call::open);
  if (call.fails()) return call.error();
  const int fd = open(on_chip(path).c_str(), file->flags | more_flags | O_CLOEXEC, mode);
  if (fd < 0) return -errno;
  file->fh = static_cast<uint64_t>(fd);
  return 0;
}

int open_file(const char *path, fuse_file_info *file) {
  return open_with(path, 0, file, 0);
}

int create_file(const char *path, mode_t mode, fuse_file_info *file) {
  return open_with(path, mode, file, O_CREAT);
}

int close_file(const char *, fuse_file_info *file) {
  return answer(close(descriptor(file)));
}

int read_file(const char *, char *data, size_t size, off_t offset, fuse_file_info *file) {
  const served call(flash_call::read);
  if (call.fails()) return call.error();
  return answer(pread(descriptor(file), data, size, offset));
}

// A write that fails and keeps some bytes is a torn one. Where room is left for a part, the part is
// written and its length is the answer, as file systems do.
int write_file(const char *, const char *data, size_t size, off_t offset, fuse_file_info *file) {
  const served call(flash_call::write);
  if (call.fails()) {
    if (pwrite(descriptor(file), data, std::min(size, call.keep()), offset) < 0) return -errno;
    return call.error();
  }
  const size_t part = fitting(descriptor(file), size, offset);
  if (part == 0 && size > 0) return -ENOSPC;
  return answer(pwrite(descriptor(file), data, part, offset));
}

int remove_file(const char *path) {
  const served call(flash_call::remove);
  if (call.fails()) return call.error();
  return answer(unlink(on_chip(path).c_str()));
}

int list(const char *, void *names, fuse_fill_dir_t add, off_t, fuse_file_info *,
         fuse_readdir_flags) {
  const std::unique_ptr<DIR, int (*)(DIR *)> directory(opendir(chip), closedir);
  if (!directory) return -errno;
  while (const dirent *entry = readdir(directory.get())) {
    add(names, entry->d_name, nullptr, 0, fuse_fill_dir_flags{});
  }
  return 0;
}

// A removed file goes at once, also while it is open.
void *initialize(fuse_conn_info *, fuse_config *config) {
  config->direct_io = 1;
  config->attr_timeout = 0;
  config->entry_timeout = 0;
  config->negative_timeout = 0;
  config->hard_remove = 1;
  config->nullpath_ok = 1;
  return nullptr;
}

}  // namespace

void note_request(const fuse_buf &request) {
  const bool in_memory = (request.flags & FUSE_BUF_IS_FD) == 0;  // long writes are in a pipe
  asks_for_status =
      in_memory && static_cast<const fuse_in_header *>(request.mem)->opcode == FUSE_GETATTR;
}

fuse_operations flash_operations(flash_plan *of) {
  plan = of;
  fuse_operations operations{};
  operations.init = initialize;
  operations.getattr = get_status;
  operations.readdir = list;
  operations.open = open_file;
  operations.create = create_file;
  operations.release = close_file;
  operations.read = read_file;
  operations.write = write_file;
  operations.unlink = remove_file;
  return operations;
}

}  // namespace vesk::test
