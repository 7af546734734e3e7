#include "tests/support/fake_service.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

#include "tests/support/send_along.h"

namespace vesk::test {

int bind_access_point(const run_dir &dir) {
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  dir.socket_path().copy(address.sun_path, sizeof address.sun_path - 1);
  unlink(address.sun_path);
  if (fd < 0 || bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) < 0) {
    throw std::runtime_error("cannot bind " + dir.socket_path());
  }
  return fd;
}

std::string reply_to(const request &to, uint16_t flags, const std::string &payload,
                     const std::function<void(vesk_wire_header &)> &change) {
  vesk_wire_header header{};
  header.magic = 0x5645534B;
  header.version = 1;
  header.flags = flags;
  header.sequence = to.header.sequence;
  header.length = static_cast<uint32_t>(payload.size());
  if (change) change(header);
  std::string datagram(sizeof header, '\0');
  std::memcpy(datagram.data(), &header, sizeof header);
  return datagram + payload;
}

std::string word(uint32_t value) {
  std::string bytes(sizeof value, '\0');
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

fake_service::fake_service(const run_dir &dir, behaviour what_to_do)
    : what_to_do_(std::move(what_to_do)),
      fd_(bind_access_point(dir)),
      stop_(eventfd(0, EFD_CLOEXEC)),
      thread_([this] { serve(); }) {}

fake_service::~fake_service() {
  eventfd_write(stop_, 1);
  thread_.join();
  close(fd_);
  close(stop_);
}

void fake_service::serve() {
  std::string buffer(VESK_WIRE_HEADER_SIZE + VESK_WIRE_MAX_PAYLOAD, '\0');
  for (;;) {
    pollfd fds[] = {{fd_, POLLIN, 0}, {stop_, POLLIN, 0}};
    poll(fds, std::size(fds), -1);
    if (fds[1].revents != 0) return;
    request r;
    r.from_length = sizeof r.from;
    const ssize_t got = recvfrom(fd_, buffer.data(), buffer.size(), 0,
                                 reinterpret_cast<sockaddr *>(&r.from), &r.from_length);
    if (got < static_cast<ssize_t>(sizeof r.header)) continue;
    std::memcpy(&r.header, buffer.data(), sizeof r.header);
    r.payload = buffer.substr(sizeof r.header, static_cast<size_t>(got) - sizeof r.header);
    {
      const std::lock_guard lock(guard_);
      requests_.push_back(r);
    }
    what_to_do_(*this, r);
  }
}

std::vector<request> fake_service::requests() const {
  const std::lock_guard lock(guard_);
  return requests_;
}

void fake_service::send(const request &to, const std::string &datagram) const {
  sendto(fd_, datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
         reinterpret_cast<const sockaddr *>(&to.from), to.from_length);
}

void fake_service::answer(const request &to, const std::string &payload) const {
  send(to, reply_to(to, VESK_WIRE_ANSWER, payload));
}

void fake_service::receipt(const request &to) const {
  send(to, reply_to(to, VESK_WIRE_RECEIPT, ""));
}

void fake_service::refuse(const request &to, uint32_t reason) const {
  send(to, reply_to(to, VESK_WIRE_REFUSED, word(reason)));
}

bool fake_service::send_as(uint32_t uid, const request &to, const std::string &datagram) const {
  return test::send_as(uid, fd_, to.from, to.from_length, datagram);
}

void silence(const fake_service &, const request &) {}

fake_service::behaviour answer_always(const std::string &payload) {
  return [payload](const fake_service &service, const request &to) { service.answer(to, payload); };
}

void receipt_always(const fake_service &service, const request &to) {
  service.receipt(to);
}

fake_service::behaviour refuse_always(uint32_t reason) {
  return [reason](const fake_service &service, const request &to) { service.refuse(to, reason); };
}

}  // namespace vesk::test
