// The floor under the daemon: a program that makes the same calls, of the same sizes at the same
// places in the same order, and does nothing else. What the daemon takes beyond this is its own.
//
// The calls are those of a run of the daemon, or of vesk_walk, that strace has watched. The program
// makes them as fast as it can; where a call is to receive, it waits for a datagram.
#include <fcntl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

#include "bench/cpu_time.h"
#include "bench/strace_log.h"

namespace vesk::bench {
namespace {

// Where everything is read to and written from. Zeros do for the flash.
alignas(4096) std::array<char, 128 << 10> buffer;

// The daemon's queue, as the daemon makes it.
int bind_queue(const std::string &path) {
  const int queue = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  const int on = 1;
  setsockopt(queue, SOL_SOCKET, SO_PASSCRED, &on, sizeof on);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  unlink(path.c_str());
  if (bind(queue, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
    throw std::runtime_error("cannot bind " + path + ": " + std::strerror(errno));
  }
  return queue;
}

class player {
 public:
  explicit player(int queue)
      : queue_(queue), outbox_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}

  void play(const system_calls &calls) {
    for (const system_call &call : calls) make(call);
  }

 private:
  void make(const system_call &call) {
    using what = system_call::what;
    switch (call.call) {
      case what::wait:
        return wait();
      case what::receive:
        return receive();
      case what::stat:
        struct stat st;
        ignore(stat(call.path.c_str(), &st));
        return;
      case what::open:
        file_ = open(call.path.c_str(), call.flags, 0644);
        return;
      case what::seek:
        ignore(lseek(file_, call.number, SEEK_SET));
        return;
      case what::read:
        ignore(read(file_, buffer.data(), call.number));
        return;
      case what::write:
        ignore(write(file_, buffer.data(), call.number));
        return;
      case what::close:
        ignore(close(file_));
        return;
      case what::answer:
        return answer(call.number);
    }
  }

  static void ignore(long) {}

  void wait() {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(queue_, &set);
    timeval longest = {5, 0};
    select(queue_ + 1, &set, nullptr, nullptr, &longest);
  }

  void receive() {
    iovec parts[] = {{buffer.data(), 24}, {buffer.data() + 64, 65559}};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
    msghdr arrived{};
    arrived.msg_name = &sender_;
    arrived.msg_namelen = sizeof sender_;
    arrived.msg_iov = parts;
    arrived.msg_iovlen = 2;
    arrived.msg_control = control;
    arrived.msg_controllen = sizeof control;
    while (recvmsg(queue_, &arrived, MSG_DONTWAIT | MSG_TRUNC | MSG_CMSG_CLOEXEC) < 0) wait();
    sender_length_ = arrived.msg_namelen;
  }

  void answer(uint32_t size) {
    iovec parts[] = {{buffer.data(), 24}, {buffer.data() + 64, size - 24}};
    msghdr datagram{};
    datagram.msg_name = &sender_;
    datagram.msg_namelen = sender_length_;
    datagram.msg_iov = parts;
    datagram.msg_iovlen = 2;
    ignore(sendmsg(outbox_, &datagram, MSG_DONTWAIT | MSG_NOSIGNAL));
  }

  int queue_;
  int outbox_;
  int file_ = -1;
  sockaddr_un sender_{};
  socklen_t sender_length_ = 0;
};

int run(const std::string &log, const std::string &queue_path) {
  system_calls calls = read_strace_log(log);
  if (!queue_path.empty()) calls = calls_for_messages(std::move(calls));
  player floor(queue_path.empty() ? -1 : bind_queue(queue_path));
  const long long before = cpu_nanoseconds();
  floor.play(calls);
  std::printf("%lld\n", cpu_nanoseconds() - before);
  std::fflush(stdout);
  if (!queue_path.empty()) pause();  // what it took is read from outside, as it is of the daemon
  return 0;
}

}  // namespace
}  // namespace vesk::bench

int main(int argc, char **argv) {
  CLI::App app("Makes the system calls of a program that strace has watched, and nothing else");
  std::string log, queue;
  app.add_option("log", log, "What strace wrote, with \"-s 0\"")->required();
  app.add_option("--queue", queue, "Receive datagrams on this socket");
  CLI11_PARSE(app, argc, argv);
  try {
    return vesk::bench::run(log, queue);
  } catch (const std::exception &error) {
    std::fprintf(stderr, "vesk_floor: %s\n", error.what());
    return 1;
  }
}
