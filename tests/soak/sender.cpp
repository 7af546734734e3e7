#include "tests/soak/sender.h"

#include <sys/time.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <thread>

#include "client/vesk_client.hpp"

namespace vesk::soak {
namespace {

using namespace std::chrono_literals;

// Longer than a busy daemon takes; a sender waits for it each time that the daemon is killed.
constexpr uint32_t timeout_ms = 200;

constexpr uint16_t first_plain_type = 1024;
constexpr uint16_t first_key_type = 2000;
constexpr uint32_t uses_of_key = 40;

// Entries of one file with a type of their own, which are updated. Once it is unclear what is in
// them, or after some time, another key is begun.
struct key {
  uint16_t type;
  uint32_t entries = 0;
  uint32_t uses = 0;
};

class sender_work {
 public:
  sender_work(const part &of, ledger &notes, uint32_t sender)
      : part_(of), notes_(notes), sender_(sender), wishes_(of, notes.seed(), sender) {}

  int run() {
    if (client_.open(timeout_ms) != VESK_CLIENT_OK) return complain(VESK_CLIENT_SYSTEM);
    wish wanted{};
    for (; wishes_.next(wanted); ++number_) {
      sent_record &note = notes_.at(sender_, number_);
      note_wish(wanted, note);
      const vesk_client_code code = send(note);
      note.done = notes_.now();
      const standing known = standing_after(code, note);
      if (known == standing::none) return complain(code);
      note.what = known;
      if (wanted.keyed) went(keys_.at(wanted.file_type), known);
    }
    return 0;
  }

 private:
  void note_wish(const wish &wanted, sent_record &note) {
    timeval now{};
    gettimeofday(&now, nullptr);
    note.secs = static_cast<uint32_t>(now.tv_sec);
    note.usecs = static_cast<uint32_t>(now.tv_usec);
    note.length = wanted.length;
    note.type = static_cast<uint16_t>(first_plain_type + number_ % 7);
    note.file_type = wanted.file_type;
    note.sync = wanted.sync;
    note.keyed = wanted.keyed;
    if (wanted.keyed) use_key(key_for(wanted.file_type), note);
  }

  key &key_for(uint16_t file_type) {
    return keys_.try_emplace(file_type, key{.type = first_key_type}).first->second;
  }

  // In a ring that wraps, entries leave it: so there is one at a time, and only the last counts.
  void use_key(key &used, sent_record &note) {
    const uint32_t most = part_.wraps ? 1 : 3;
    note.type = used.type;
    const bool appends = used.entries < most && (used.entries > 0 || wishes_.below(2) == 0);
    note.update = !appends || part_.wraps ? 1 : 0;
    note.instance =
        static_cast<uint8_t>(note.update == 0 || part_.wraps ? 0 : wishes_.below(used.entries + 2));
    if (note.update == 0 || used.entries == 0) ++used.entries;
    ++used.uses;
  }

  static void went(key &used, standing known) {
    if (known != standing::stored || used.uses >= uses_of_key) {
      used = {.type = static_cast<uint16_t>(used.type + 1)};
    }
  }

  // Again and again while there is no daemon: nothing was sent then.
  vesk_client_code send(sent_record &note) {
    const std::vector<uint8_t> data = content_of(notes_.seed(), sender_, number_, note.length);
    const vesk_client_record record{.file_type = note.file_type,
                                    .uuid = uuid_of(sender_),
                                    .type = note.type,
                                    .flags = static_cast<uint8_t>(number_),
                                    .sync = note.sync,
                                    .update = note.update,
                                    .allow_large = 0,
                                    .instance = note.instance,
                                    .secs = note.secs,
                                    .usecs = note.usecs,
                                    .data = data.data(),
                                    .length = data.size()};
    for (;;) {
      note.sent = notes_.now();
      note.what = standing::under_way;
      const vesk_client_code code = vesk_client_log(client_.get(), &record);
      if (code != VESK_CLIENT_NO_DAEMON && code != VESK_CLIENT_BUSY) return code;
      std::this_thread::sleep_for(1ms);
    }
  }

  static standing standing_after(vesk_client_code code, const sent_record &note) {
    switch (code) {
      case VESK_CLIENT_OK:
        return note.sync == VESK_CLIENT_SYNC_NONE ? standing::handed_in : standing::stored;
      case VESK_CLIENT_REFUSED:
        return standing::refused;
      case VESK_CLIENT_TIMED_OUT:
        return standing::unknown;
      default:
        return standing::none;
    }
  }

  int complain(vesk_client_code code) const {
    std::fprintf(stderr, "soak: sender %u, record %u: %s\n", sender_, number_,
                 vesk_client_error_text(code));
    return 1;
  }

  const part &part_;
  ledger &notes_;
  uint32_t sender_;
  uint32_t number_ = 0;
  wishes wishes_;
  log_client client_;
  std::map<uint16_t, key> keys_;
};

}  // namespace

int send_all(const part &of, ledger &notes, uint32_t sender) {
  return sender_work(of, notes, sender).run();
}

}  // namespace vesk::soak
