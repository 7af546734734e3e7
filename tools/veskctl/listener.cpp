#include "tools/veskctl/listener.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "client/vesk_daemon_socket.h"
#include "protocol/vesk_run_dir.h"
#include "protocol/vesk_wire.h"

namespace vesk::veskctl {
namespace {

// In the run directory.
std::string own_name() {
  return std::string(VESK_WIRE_LISTENERS) + "/veskctl-" + std::to_string(getpid());
}

failure why_not(const std::string &path, int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return {"cannot listen at " + path + ": its directory does not exist: is vesk_sup running?"};
    case EACCES:
    case EPERM:
      return {"permission denied at " + path +
              ": run as root or as a user who may write to its directory"};
    default:
      return {"cannot listen at " + path + ": " + errno_text(error)};
  }
}

}  // namespace

listener::listener(const std::string &run_dir)
    : path_(run_dir + '/' + own_name()), fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  if (!fd_ || !bind_socket(run_dir)) trouble_ = why_not(path_, errno);
}

listener::~listener() {
  if (!trouble_) unlink(path_.c_str());
}

bool listener::bind_socket(const std::string &run_dir) {
  sockaddr_un address{};
  if (!client::locate_daemon_socket(run_dir.c_str(), daemon_socket_) ||
      !run_dir_address(run_dir.c_str(), own_name().c_str(), address)) {
    errno = ENAMETOOLONG;  // where the run directory's name is empty, too
    return false;
  }
  const int on = 1;
  unlink(path_.c_str());  // left behind by a dead process with our number
  // A daemon that is not root must be able to write to it. Others then can too, which does no harm:
  // the credentials of what arrives are checked.
  return setsockopt(fd_.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) == 0 &&
         bind(fd_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
         chmod(path_.c_str(), 0666) == 0;
}

std::optional<heard> listener::receive() {
  vesk_wire_header header{};
  std::vector<uint8_t> payload(VESK_WIRE_MAX_PAYLOAD);
  iovec parts[] = {{&header, sizeof header}, {payload.data(), payload.size()}};
  const ptrdiff_t got = client::receive_from_daemon(fd_.get(), parts, daemon_socket_);
  if (got < static_cast<ptrdiff_t>(sizeof header)) return {};
  payload.resize(static_cast<size_t>(got) - sizeof header);
  const bool ours = header.magic == VESK_WIRE_MAGIC && header.version == VESK_WIRE_VERSION &&
                    header.length == payload.size();
  if (!ours) return {};
  return heard{header.opcode, std::move(payload)};
}

}  // namespace vesk::veskctl
