#include "host/vesk_access_point.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/vesk_errno.h"
#include "base/vesk_fd.h"
#include "host/vesk_stderr.h"
#include "protocol/vesk_run_dir.h"

namespace vesk {
namespace {

constexpr mode_t run_dir_mode = 0755;
constexpr mode_t listeners_mode = 0770;
constexpr mode_t socket_mode = 0660;
constexpr gid_t unchanged = static_cast<gid_t>(-1);

bool failed(const char *what, const char *path) {
  const errno_keeper keeper;
  complain(priority::error, "vesk host: cannot %s %s: %s", what, path, std::strerror(errno));
  return false;
}

bool in_use(const char *path) {
  complain(priority::error, "vesk host: %s is already served by another daemon", path);
  errno = EADDRINUSE;
  return false;
}

// The group that may send and listen.
gid_t configured_group() {
  const char *name = std::getenv("VESK_GROUP");
  if (name == nullptr || name[0] == '\0') return unchanged;
  const group *found = getgrnam(name);
  if (found != nullptr) return found->gr_gid;
  complain(priority::warning, "vesk host: there is no group \"%s\" (VESK_GROUP)", name);
  return unchanged;
}

bool open_to_group(const char *path, mode_t mode, gid_t group) {
  if (group != unchanged && chown(path, static_cast<uid_t>(-1), group) != 0) {
    return failed("give to its group:", path);
  }
  return chmod(path, mode) == 0 || failed("set the mode of", path);
}

// One that is there already may have been opened further, or closed, on purpose: it stays as it is.
bool make_directory(const char *path, mode_t mode, gid_t group) {
  if (mkdir(path, 0700) == 0) return open_to_group(path, mode, group);
  return errno == EEXIST || failed("make", path);
}

bool make_directories(gid_t group) {
  sockaddr_un listeners;
  if (!run_dir_address(run_dir(), VESK_WIRE_LISTENERS, listeners)) return failed("use", run_dir());
  return make_directory(run_dir(), run_dir_mode, unchanged) &&
         make_directory(listeners.sun_path, listeners_mode, group);
}

// Two processes that start at the same moment would each take the other's fresh socket for a stale
// one; the lock decides. It ends with its process.
bool take_lock(uint32_t sap, const char *socket_path, int32_t &lock) {
  char name[32];
  std::snprintf(name, sizeof name, "%s%u.lock", VESK_WIRE_SAP_PREFIX, sap);
  sockaddr_un address;
  if (!run_dir_address(run_dir(), name, address)) return failed("use", run_dir());
  lock = open(address.sun_path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (lock < 0) return failed("open", address.sun_path);
  if (flock(lock, LOCK_EX | LOCK_NB) == 0) return true;
  return errno == EWOULDBLOCK ? in_use(socket_path) : failed("lock", address.sun_path);
}

bool remove_stale_socket(const sockaddr_un &address) {
  const unique_fd probe(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!probe) return failed("make a socket for", address.sun_path);
  if (connect(probe.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
    return in_use(address.sun_path);
  }
  if (errno == ENOENT) return true;
  struct stat st;
  if (errno == ECONNREFUSED && lstat(address.sun_path, &st) == 0 && S_ISSOCK(st.st_mode)) {
    return unlink(address.sun_path) == 0 || failed("remove the stale socket", address.sun_path);
  }
  return failed("replace", address.sun_path);
}

bool open_socket(const sockaddr_un &address, gid_t group, int32_t &fd) {
  fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) return failed("make a socket for", address.sun_path);
  // Before the socket has a name: a message may be waiting the moment that it has one.
  const int on = 1;
  if (setsockopt(fd, SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0) {
    return failed("get credentials at", address.sun_path);
  }
  const mode_t former = umask(0177);
  const int bound = bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address);
  umask(former);
  if (bound != 0) return failed("bind", address.sun_path);
  return open_to_group(address.sun_path, socket_mode, group);
}

bool claim(uint32_t sap, access_point &point) {
  char name[32];
  std::snprintf(name, sizeof name, "%s%u", VESK_WIRE_SAP_PREFIX, sap);
  sockaddr_un address;
  if (!run_dir_address(run_dir(), name, address)) {
    complain(priority::error,
             "vesk host: the run directory's name is too long for a socket "
             "(%zu bytes, with the socket's own name at most %zu): %s",
             std::strlen(run_dir()), sizeof address.sun_path - 1, run_dir());
    return false;
  }
  const gid_t group = configured_group();
  return make_directories(group) && take_lock(sap, address.sun_path, point.lock) &&
         remove_stale_socket(address) && open_socket(address, group, point.socket);
}

void close_if_open(int32_t &fd) {
  if (fd >= 0) close(fd);
  fd = -1;
}

}  // namespace

bool claim_access_point(uint32_t sap, access_point &point) {
  access_point claimed;
  if (claim(sap, claimed)) {
    point = claimed;
    return true;
  }
  const errno_keeper keeper;
  release_access_point(claimed);
  return false;
}

void release_access_point(access_point &point) {
  close_if_open(point.socket);
  close_if_open(point.lock);
}

}  // namespace vesk
