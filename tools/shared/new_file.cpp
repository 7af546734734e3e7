#include "tools/shared/new_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "base/vesk_fd.h"
#include "tools/shared/files.h"

namespace vesk::shared {
namespace {

constexpr mode_t file_mode = 0644;

bool write_all(int fd, std::string_view rest) {
  while (!rest.empty()) {
    const ssize_t count = write(fd, rest.data(), rest.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    rest.remove_prefix(static_cast<size_t>(count));
  }
  return true;
}

bool set_time(int fd, const timespec *modified) {
  if (modified == nullptr) return true;
  const timespec times[] = {*modified, *modified};
  return futimens(fd, times) == 0;
}

bool fill(unique_fd &fd, std::string_view content, const timespec *modified) {
  return write_all(fd.get(), content) && set_time(fd.get(), modified) && fsync(fd.get()) == 0 &&
         fd.close() == 0;
}

// A rename takes anything's place, so a device or a link would be lost.
failure check_that_it_may_go(const std::string &path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return {errno == ENOENT ? "" : errno_text(errno)};
  return {S_ISREG(status.st_mode) ? "" : "it is there and no regular file"};
}

}  // namespace

failure write_new_file(const std::string &path, std::string_view content,
                       const timespec *modified) {
  unique_fd fd(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, file_mode));
  if (!fd) return {errno_text(errno)};
  if (fill(fd, content, modified)) return {};
  failure why{errno_text(errno)};
  unlink(path.c_str());
  return why;
}

failure replace_file(const std::string &path, std::string_view content) {
  if (failure why = check_that_it_may_go(path)) return why;
  const std::string fresh = path + "." + std::to_string(getpid());
  unlink(fresh.c_str());  // left behind by a dead process with our number
  if (failure why = write_new_file(fresh, content)) return why;
  if (std::rename(fresh.c_str(), path.c_str()) != 0) {
    failure why{errno_text(errno)};
    unlink(fresh.c_str());
    return why;
  }
  return sync_directory(directory_of(path));
}

failure sync_directory(const std::string &path) {
  const unique_fd fd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return {fd && fsync(fd.get()) == 0 ? "" : errno_text(errno)};
}

}  // namespace vesk::shared
