// Sends records to whoever serves the daemon's queue.
#pragma once

#include <cstdint>

#include "bench/log_record.h"

namespace vesk::bench {

class sender {
 public:
  sender();
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

 private:
  void send_one(const std::vector<uint8_t> &datagram);
  void await_answer();

  int fd_;
};

}  // namespace vesk::bench
