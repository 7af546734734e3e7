#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/vesk_counters.h"
#include "tests/unit/host/host_test.h"

namespace vesk::test {
namespace {

// A socket in the listeners' directory, gone from there afterwards.
class listener {
 public:
  explicit listener(const std::string &name)
      : path_(run_directory() + "/listeners/" + name),
        fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    const sockaddr_un address = address_of(path_);
    EXPECT_EQ(bind(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
  }
  listener(const listener &) = delete;
  listener &operator=(const listener &) = delete;
  ~listener() {
    close(fd_);
    unlink(path_.c_str());
  }

  const std::string &path() const { return path_; }

  std::string receive() const {
    std::string bytes(1000, '\0');
    const ssize_t size = recv(fd_, bytes.data(), bytes.size(), MSG_DONTWAIT);
    bytes.resize(size < 0 ? 0 : static_cast<size_t>(size));
    return bytes;
  }

 private:
  std::string path_;
  int fd_;
};

int32_t send_to_all(uint32_t opcode, const std::string &payload) {
  return ipq_send(queue(), 0xFE000001, 0, opcode, payload.data(),
                  static_cast<uint32_t>(payload.size()), nullptr, nullptr, 0);
}

std::string sent(uint32_t opcode, const std::string &payload) {
  return bytes_of({0x5645534B, 1, 0, 0, opcode, 0, 293, static_cast<uint32_t>(payload.size())}) +
         payload;
}

TEST(Listeners, may_be_missing_altogether) {
  EXPECT_EQ(send_to_all(1156, ""), 0);
}

TEST(Listeners, each_get_a_copy) {
  const listener one("one");
  const listener two("two");
  const uint64_t before = counters.listeners_reached;
  EXPECT_EQ(send_to_all(1156, ""), 0);
  EXPECT_EQ(send_to_all(7000, "an exception"), 0);
  for (const listener *l : {&one, &two}) {
    EXPECT_EQ(l->receive(), sent(1156, ""));
    EXPECT_EQ(l->receive(), sent(7000, "an exception"));
    EXPECT_EQ(l->receive(), "");
  }
  EXPECT_EQ(counters.listeners_reached - before, 4U);
}

TEST(Listeners, that_are_dead_are_removed) {
  const std::string stale = run_directory() + "/listeners/dead";
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const sockaddr_un address = address_of(stale);
  ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
  close(fd);
  ASSERT_EQ(access(stale.c_str(), F_OK), 0);
  EXPECT_EQ(send_to_all(1156, ""), 0);
  EXPECT_NE(access(stale.c_str(), F_OK), 0);
}

TEST(Listeners, that_do_not_read_miss_messages_and_hold_up_nobody) {
  const stderr_capture captured;
  const listener deaf("deaf");
  const listener other("other");
  const std::string record(330, 'E');
  const uint64_t before = counters.listeners_missed;
  for (int i = 0; counters.listeners_missed < before + 20; ++i) {
    ASSERT_LT(i, 5000);
    EXPECT_EQ(send_to_all(7000, record), 0);
    ASSERT_EQ(other.receive(), sent(7000, record)) << "round " << i;
  }
  EXPECT_TRUE(
      captured.text().starts_with("<4>vesk host: listener \"deaf\" misses a message: it does not "
                                  "read them (0 more not shown)\n"))
      << captured.text();
}

// A link could lead anywhere, and a plain file must not be taken for a dead listener.
TEST(Listeners, are_sockets_and_nothing_else) {
  const scratch_directory elsewhere;
  const listener real("real");
  const std::string link = run_directory() + "/listeners/link";
  const std::string file = run_directory() + "/listeners/file";
  ASSERT_EQ(symlink(real.path().c_str(), link.c_str()), 0);
  close(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  EXPECT_EQ(send_to_all(1156, ""), 0);
  EXPECT_EQ(real.receive(), sent(1156, ""));
  EXPECT_EQ(real.receive(), "") << "it got a second copy through the link";
  EXPECT_EQ(access(file.c_str(), F_OK), 0);
  unlink(link.c_str());
  unlink(file.c_str());
}

}  // namespace
}  // namespace vesk::test
