#include "tests/unit/host/host_test.h"

#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>

#include "tests/support/send_along.h"

namespace vesk::test {
namespace {

constexpr std::array<uint32_t, 6> bind_block = {1, 1, 400, 293, 0, 15};

const scratch_directory &service_directory() {
  static const scratch_directory directory;
  return directory;
}

int32_t bind_service() {
  setenv("VESK_RUN_DIR", service_directory().path().c_str(), 1);
  return ipq_bind(1, 1016, bind_block.data(), "the service of the tests");
}

std::string with_header(uint32_t opcode, uint32_t sequence, const std::string &payload,
                        uint16_t flags) {
  return bytes_of({0x5645534B, 1, 0, flags, opcode, sequence, 4711,
                   static_cast<uint32_t>(payload.size())}) +
         payload;
}

std::optional<arrived> parse(const std::string &bytes, uid_t uid) {
  arrived result{};
  result.uid = uid;
  if (bytes.size() < sizeof result.header) return std::nullopt;
  std::memcpy(&result.header, bytes.data(), sizeof result.header);
  result.payload = bytes.substr(sizeof result.header);
  return result;
}

}  // namespace

setting::setting(const char *name, const char *value) : name_(name) {
  if (const char *former = std::getenv(name)) former_ = former;
  if (value != nullptr) {
    setenv(name, value, 1);
  } else {
    unsetenv(name);
  }
}

setting::~setting() {
  if (former_) {
    setenv(name_.c_str(), former_->c_str(), 1);
  } else {
    unsetenv(name_.c_str());
  }
}

stderr_capture::stderr_capture()
    : file_(memfd_create("stderr", MFD_CLOEXEC)), former_(dup(STDERR_FILENO)) {
  dup2(file_, STDERR_FILENO);
}

stderr_capture::~stderr_capture() {
  dup2(former_, STDERR_FILENO);
  close(former_);
  close(file_);
}

std::string stderr_capture::text() const {
  std::string text(65536, '\0');
  const ssize_t length = pread(file_, text.data(), text.size(), 0);
  text.resize(length < 0 ? 0 : static_cast<size_t>(length));
  return text;
}

int32_t queue() {
  static const int32_t q = bind_service();
  return q;
}

std::string run_directory() {
  queue();
  return service_directory().path();
}

sockaddr_un address_of(const std::string &path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

bool readable(int fd) {
  pollfd watched = {fd, POLLIN, 0};
  return poll(&watched, 1, 2000) == 1;
}

client::client(named name) : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
  queue();
  if (name == named::no) return;
  const int on = 1;
  setsockopt(fd_, SOL_SOCKET, SO_PASSCRED, &on, sizeof on);
  const sa_family_t any = AF_UNIX;
  EXPECT_EQ(bind(fd_, reinterpret_cast<const sockaddr *>(&any), sizeof any), 0);
}

client::~client() {
  close(fd_);
}

bool client::send_bytes(const std::string &bytes) {
  const sockaddr_un to = address_of(run_directory() + "/sap-1016");
  return sendto(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL,
                reinterpret_cast<const sockaddr *>(&to), sizeof to) >= 0;
}

bool client::send(uint32_t opcode, const std::string &payload, uint16_t flags) {
  return send_bytes(with_header(opcode, ++sequence_, payload, flags));
}

bool client::send_as(uid_t uid, uint32_t opcode, const std::string &payload) {
  const sockaddr_un to = address_of(run_directory() + "/sap-1016");
  return test::send_as(uid, fd_, to, sizeof to, with_header(opcode, ++sequence_, payload, 0));
}

std::optional<arrived> client::receive() {
  return readable(fd_) ? receive_now() : std::nullopt;
}

std::optional<arrived> client::receive_now() {
  std::string bytes(100'000, '\0');
  iovec part = {bytes.data(), bytes.size()};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
  msghdr datagram{};
  datagram.msg_iov = &part;
  datagram.msg_iovlen = 1;
  datagram.msg_control = control;
  datagram.msg_controllen = sizeof control;
  const ssize_t size = recvmsg(fd_, &datagram, MSG_DONTWAIT);
  if (size < 0) return std::nullopt;
  bytes.resize(static_cast<size_t>(size));
  ucred sender = {0, static_cast<uid_t>(-1), 0};
  if (const cmsghdr *credentials = CMSG_FIRSTHDR(&datagram)) {
    std::memcpy(&sender, CMSG_DATA(credentials), sizeof sender);
  }
  return parse(bytes, sender.uid);
}

std::string bytes_of(const vesk_wire_header &header) {
  return {reinterpret_cast<const char *>(&header), sizeof header};
}

std::string bytes_of(uint32_t word) {
  return {reinterpret_cast<const char *>(&word), sizeof word};
}

ipq_msg *next_message() {
  ipq_msg *msg = nullptr;
  EXPECT_TRUE(readable(queue()));
  EXPECT_EQ(ipq_recv(queue(), &msg, nullptr), 0);
  return msg;
}

void answer_next(const std::string &payload) {
  ipq_msg *msg = next_message();
  if (msg == nullptr) return;
  ipq_send(queue(), 0xFE000000, 0, 0, payload.data(), static_cast<uint32_t>(payload.size()),
           nullptr, msg, 0);
  EXPECT_EQ(ipq_drop(queue(), msg), 0);
}

}  // namespace vesk::test
