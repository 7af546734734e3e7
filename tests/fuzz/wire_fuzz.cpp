// Any datagrams, through the real socket of the message service and back. What has to come back to
// a sender is worked out beforehand, from what docs/host-platform.md says to those who write one;
// where anything else comes, or nothing, or more, the process aborts:
//
//   - what is no request gets nothing, so that no answer is ever answered;
//   - what is refused gets the first reason that holds, and the daemon never sees it;
//   - a request to the host gets its answer; any other the daemon's, or a receipt if it asked;
//   - what comes back has the request's sequence, and comes in the order of the requests;
//   - the daemon finds a message at each wake-up, its payload as it was sent, zeros behind it.
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/dbgkit.h"
#include "platform/ipq.h"
#include "platform/runctl.h"
#include "protocol/vesk_wire.h"
#include "tests/fuzz/wire_input.h"
#include "tests/support/send_along.h"

uint32_t runctlcb_switchover(uint32_t context) {
  runctl_switchover_done(context, 0);
  return 0;
}

namespace vesk::test {
namespace {

constexpr uint32_t answer_word = 0x41424344;
constexpr uint32_t readable_payload = 24 + 65535;

void promise(bool kept, const char *text) {
  if (kept) return;
  std::fprintf(stderr, "broken: %s\n", text);
  std::abort();
}

// Something that cannot go on without a socket or a directory.
void require(bool done, const char *what) {
  if (done) return;
  std::perror(what);
  std::abort();
}

// The service, bound once in a directory of its own, which goes when the process ends.
class service {
 public:
  service() {
    require(mkdtemp(directory_) != nullptr, "mkdtemp");
    setenv("VESK_RUN_DIR", directory_, 1);
    constexpr std::array<uint32_t, 6> bind_block = {1, 1, 400, 293, 0, 15};
    queue = ipq_bind(1, 1016, bind_block.data(), "wire_fuzz");
    require(queue >= 0, "ipq_bind");
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s/sap-1016", directory_);
  }
  ~service() {
    for (const char *name : {"/sap-1016", "/sap-1016.lock"}) {
      unlink((directory_ + std::string(name)).c_str());
    }
    rmdir((directory_ + std::string("/listeners")).c_str());
    rmdir(directory_);
  }
  service(const service &) = delete;
  service &operator=(const service &) = delete;

  int32_t queue = -1;
  sockaddr_un address{};

 private:
  char directory_[32] = "/tmp/vesk-wire-XXXXXX";
};

service &the_service() {
  static service bound;
  return bound;
}

int new_sender(bool named) {
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  require(fd >= 0, "socket");
  const sa_family_t any = AF_UNIX;
  if (named) require(bind(fd, reinterpret_cast<const sockaddr *>(&any), sizeof any) == 0, "bind");
  return fd;
}

int named_sender() {
  static const int fd = new_sender(true);
  return fd;
}

int unnamed_sender() {
  static const int fd = new_sender(false);
  return fd;
}

bool send_step(const wire_step &step, bool other) {
  const std::string_view datagram(reinterpret_cast<const char *>(step.datagram.data()),
                                  step.datagram.size());
  const sockaddr_un &to = the_service().address;
  const int fd = (step.how & unnamed) != 0 ? unnamed_sender() : named_sender();
  if (other) return send_as(65534, fd, to, sizeof to, datagram);
  return sendto(fd, datagram.data(), datagram.size(), MSG_NOSIGNAL,
                reinterpret_cast<const sockaddr *>(&to), sizeof to) >= 0;
}

// --- what is to come ---

// The header's fields as they arrive: zeros where nothing came.
vesk_wire_header header_of(const wire_step &step) {
  vesk_wire_header header{};
  if (step.datagram.empty()) return header;
  std::memcpy(&header, step.datagram.data(), std::min(step.datagram.size(), sizeof header));
  return header;
}

std::span<const uint8_t> payload_of(const wire_step &step) {
  return std::span(step.datagram).subspan(std::min<size_t>(step.datagram.size(), 24));
}

bool is_privileged_opcode(uint32_t opcode) {
  constexpr std::array<uint32_t, 7> privileged = {1153, 1155, 1158, 6024, 60001, 60002, 60003};
  return std::find(privileged.begin(), privileged.end(), opcode) != privileged.end();
}

bool is_level(uint8_t level) {
  return level <= 2 || level == 255;
}

// Whether a request to the host has the payload that it must have.
bool is_good_host_request(uint32_t opcode, std::span<const uint8_t> payload) {
  switch (opcode) {
    case 60001:
      return payload.size() == 4 && is_level(payload[0]) && is_level(payload[1]);
    case 60003:
      return payload.size() == 4;
    default:  // 60002, 60004
      return payload.empty();
  }
}

enum class reaction : uint8_t { nothing, refused, host_answers, daemons };

struct prediction {
  reaction what = reaction::nothing;
  uint32_t reason = 0;  // of a refusal
};

prediction predict(const wire_step &step, bool privileged) {
  const size_t size = step.datagram.size();
  const vesk_wire_header header = header_of(step);
  if (size < 8 || header.magic != 0x5645534B) return {};
  if ((header.flags & 0x0700) != 0) return {};
  if (header.version != 1) return {reaction::refused, 1};
  if (size < 24 || header.length != size - 24 || size - 24 > 65559) return {reaction::refused, 2};
  if (is_privileged_opcode(header.opcode) && !privileged) return {reaction::refused, 3};
  if (header.opcode < 60001 || header.opcode > 60004) return {reaction::daemons, 0};
  if (!is_good_host_request(header.opcode, payload_of(step))) return {reaction::refused, 4};
  return {reaction::host_answers, 0};
}

// --- what comes ---

struct waiting {
  wire_step step;
  prediction expected;
};

// The daemon's part. Its messages are those that are expected to be its own, in their order.
class daemon_of_one_burst {
 public:
  explicit daemon_of_one_burst(const std::vector<waiting> &burst) {
    for (const waiting &sent : burst) {
      if (sent.expected.what == reaction::daemons) mine_.push_back(&sent.step);
    }
  }

  void look_at_everything() {
    pollfd readable = {the_service().queue, POLLIN, 0};
    while (poll(&readable, 1, 0) == 1) {
      ipq_msg *msg = nullptr;
      promise(ipq_recv(the_service().queue, &msg, nullptr) == 0, "a wake-up has a message");
      const int32_t taken = runctl_dispatch(msg);
      promise(taken != RUNCTL_KEEPS, "the system manager keeps nothing");
      if (taken != RUNCTL_TOOK && dbgkit_process_msg(the_service().queue, msg) != 0) handle(msg);
      promise(ipq_drop(the_service().queue, msg) == 0, "a message can be dropped");
    }
    promise(next_ == mine_.size(), "the daemon gets every message that is its own");
  }

 private:
  void handle(ipq_msg *msg) {
    promise(next_ < mine_.size(), "the daemon gets what is its own, and nothing else");
    const wire_step &sent = *mine_[next_++];
    promise(ipq_opc_get(msg) == header_of(sent).opcode, "the opcode is the sender's");
    expect_payload(static_cast<const uint8_t *>(ipq_payload_get(msg)), payload_of(sent));
    if ((sent.how & not_answered) != 0) return;
    ipq_send(the_service().queue, 0xFE000000, 0, 0, &answer_word, sizeof answer_word, nullptr, msg,
             0);
  }

  static void expect_payload(const uint8_t *payload, std::span<const uint8_t> sent) {
    promise((payload == nullptr) == sent.empty(), "there is a payload if there was one");
    if (payload == nullptr) return;
    promise(std::equal(sent.begin(), sent.end(), payload), "the payload is the sender's");
    promise(std::all_of(payload + sent.size(), payload + readable_payload,
                        [](uint8_t byte) { return byte == 0; }),
            "behind the payload are zeros");
  }

  std::vector<const wire_step *> mine_;
  size_t next_ = 0;
};

struct arrived {
  vesk_wire_header header;
  std::vector<uint8_t> payload;
};

bool receive(arrived &got) {
  static std::array<uint8_t, 24 + 65559> buffer;
  const ssize_t size = recv(named_sender(), buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (size < 0) return false;
  promise(size >= 24, "what comes back has a header");
  std::memcpy(&got.header, buffer.data(), 24);
  got.payload.assign(buffer.begin() + 24, buffer.begin() + size);
  return true;
}

uint32_t word_of(const arrived &got) {
  uint32_t word = 0;
  promise(got.payload.size() == sizeof word, "what comes back has four bytes");
  std::memcpy(&word, got.payload.data(), sizeof word);
  return word;
}

void expect_host_answer(uint32_t opcode, const arrived &got) {
  promise(got.header.flags == 0x0100, "a request to the host is answered");
  if (opcode == 60001) promise(got.payload.size() == 4, "there are four debug levels");
  if (opcode == 60002) promise(got.payload.size() % 4 == 0, "history records are aligned");
  if (opcode == 60003) promise(word_of(got) == 0, "a switchover succeeds");
  if (opcode == 60004) promise(got.payload.size() == 104, "a status has 104 bytes");
}

bool comes_back(const waiting &sent) {
  if ((sent.step.how & unnamed) != 0 || sent.expected.what == reaction::nothing) return false;
  if (sent.expected.what != reaction::daemons || (sent.step.how & not_answered) == 0) return true;
  return (header_of(sent.step).flags & 0x0001) != 0;
}

void expect_back(const waiting &sent) {
  if (!comes_back(sent)) return;
  arrived got{};
  promise(receive(got), "something comes back");
  const vesk_wire_header request = header_of(sent.step);
  promise(got.header.magic == 0x5645534B && got.header.version == 1 && got.header.reserved == 0 &&
              got.header.opcode == 0 && got.header.source == 293 &&
              got.header.length == got.payload.size(),
          "what comes back has a good header");
  promise(got.header.sequence == request.sequence, "what comes back has the request's sequence");
  switch (sent.expected.what) {
    case reaction::refused:
      promise(got.header.flags == 0x0400, "a refusal is one");
      promise(word_of(got) == sent.expected.reason, "the reason is the first that holds");
      break;
    case reaction::host_answers:
      expect_host_answer(request.opcode, got);
      break;
    default:
      if ((sent.step.how & not_answered) != 0) {
        promise(got.header.flags == 0x0200 && got.payload.empty(), "a receipt is one");
      } else {
        promise(got.header.flags == 0x0100 && word_of(got) == answer_word, "an answer is one");
      }
  }
}

void serve(std::vector<waiting> &burst) {
  daemon_of_one_burst(burst).look_at_everything();
  for (const waiting &sent : burst) expect_back(sent);
  arrived more{};
  promise(!receive(more), "nothing else comes back");
  burst.clear();
}

// The queue holds few datagrams. A process that may not speak for another user is itself.
void send_all(std::vector<wire_step> steps) {
  constexpr size_t longest_burst = 8;
  std::vector<waiting> burst;
  for (wire_step &step : steps) {
    bool other = (step.how & other_user) != 0;
    bool sent = send_step(step, other);
    if (!sent && other && (errno == EPERM || errno == EINVAL)) {
      other = false;
      sent = send_step(step, other);
    }
    require(sent, "sendmsg");
    const bool wait = (step.how & more_follow) != 0;
    const prediction expected = predict(step, !other);
    burst.push_back({std::move(step), expected});
    if (!wait || burst.size() == longest_burst) serve(burst);
  }
  if (!burst.empty()) serve(burst);
}

}  // namespace
}  // namespace vesk::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  vesk::test::send_all(vesk::test::wire_input_of({data, size}));
  return 0;
}
