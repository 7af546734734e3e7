// Sends records to whoever serves the daemon's queue, or another socket.
#pragma once

#include <sys/un.h>

#include <cstdint>
#include <string>
#include <vector>

#include "bench/log_record.h"

namespace vesk::bench {

// A record as the daemon's queue takes it.
std::vector<uint8_t> message_of(const log_record &record);

class sender {
 public:
  explicit sender(const std::string &socket_path);
  ~sender();
  sender(const sender &) = delete;
  sender &operator=(const sender &) = delete;

  // Waits until the daemon answers; throws when it does not within ten seconds.
  void wait_for_daemon();
  // Waits until somebody has bound the queue.
  void wait_for_queue();

  // Sends the record so many times, and returns how many seconds that took until the last one was
  // answered. Where the record wants no answer only the last one asks for it; otherwise each waits
  // for its own.
  double send(log_record record, uint32_t count);

  void send_one(const std::vector<uint8_t> &datagram);
  // Waits until all that was sent has been received, and throws away what was answered.
  void wait_until_taken();

 private:
  void await_answer();

  sockaddr_un to_{};
  int fd_;
};

}  // namespace vesk::bench
