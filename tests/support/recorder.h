// A platform that records what the daemon asks of it and answers from a script.
//
// It defines every call of platform/. A test sets answers and incoming messages, calls the unit,
// and looks at what was recorded. reset() puts it, and everything the daemon keeps between calls,
// back to how a new process finds it.
#pragma once

#include <sys/time.h>

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ipq.h"

namespace vesk::test {

using bytes = std::vector<uint8_t>;
using lines = std::vector<std::string>;

struct log_line {
  uint32_t level;
  std::string text;
  bool operator==(const log_line &) const = default;
};
using log_lines = std::vector<log_line>;

inline log_line trace(std::string text) {
  return {100, std::move(text)};
}
inline log_line error(std::string text) {
  return {101, std::move(text)};
}
std::ostream &operator<<(std::ostream &out, const log_line &line);

lines operator+(lines left, const lines &right);
log_lines operator+(log_lines left, const log_lines &right);

struct sent_message {
  uint32_t dest;
  uint32_t opcode;
  bytes payload;
  bool operator==(const sent_message &) const = default;
};

// What a call returns, and the errno that it leaves (0: whatever recorder::clobber_errno says).
struct answer {
  int64_t result = 0;
  int error = 0;
};

struct recorder {
  // What was seen, in order.

  // Every call as text, for example "ipq_bind(1, 1016, "Sup Persitent Logging Daemon")". A received
  // message reads "msg 1" for the first, the handle of a sent one "handle", a null pointer "null".
  // Logging is not among the calls: it is seen by its effect.
  lines calls;
  lines journal;                   // calls, and history lines as "101 ERROR: ...", in one order
  log_lines history;               // what the event history got
  log_lines prints;                // what was printed, under the level that was asked for
  std::vector<sent_message> sent;  // every send, failed ones included
  std::array<uint32_t, 6> bind_block{};
  std::array<uint32_t, 10> recv_options{};

  // What the platform answers.

  // The answer to the next call of that name; several queue up. The name must be a platform call's.
  void next(std::string_view call, int64_t result, int error = 0);
  // The answer to every call of that name for which none is queued.
  void always(std::string_view call, int64_t result, int error = 0);
  // The calls whose queued answers nobody took.
  lines unused() const;

  // Queues a message for ipq_recv(). Its payload reads as zero behind the bytes given, up to 65,559
  // bytes, and is gone after the drop.
  void receive(uint32_t opcode, const bytes &payload);
  void receive_without_payload(uint32_t opcode);
  // The same, handed out directly: for handlers that take the message.
  ipq_msg *message(uint32_t opcode, const bytes &payload);
  ipq_msg *message_without_payload(uint32_t opcode);

  std::set<uint32_t> suppressed;         // levels that the history does not want
  std::set<uint32_t> printed{100, 101};  // levels that are printed
  bool echo = false;                     // prints go to stderr as well, as "101 text|"
  std::deque<uint32_t> expired;          // ids of expired timers
  timeval expiry{4, 250000};             // what tg_get_next_expiry_time() points to
  uint8_t slot = 0;                      // this card's
  int clobber_errno = 0;                 // left in errno by every call without one of its own
  std::function<void(const std::string &call)> on_call;  // runs inside every call

  // From now on, starting /bin/rm removes the file at once, or does this with its path.
  void remove_for_real();
  void on_removal(const std::function<void(const std::string &path)> &remove);

  // Forgets everything recorded so far, and keeps the answers.
  void forget();
  void reset();

  // For the calls themselves, and for calls of the system that a test intercepts.

  void note(const std::string &call);
  int64_t take(const std::string &call);

  struct received;
  std::string name_of(const ipq_msg *msg) const;

  std::map<std::string, std::deque<answer>, std::less<>> queued;
  std::map<std::string, answer, std::less<>> usual;
  std::vector<std::shared_ptr<received>> messages;  // every message so far
  std::deque<ipq_msg *> waiting;                    // those still to be received
  const ipq_msg *handle = nullptr;                  // of the last message sent with one

  recorder();
};

extern recorder platform;

}  // namespace vesk::test
