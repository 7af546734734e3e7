#include "host/vesk_history.h"

#include <atomic>
#include <ctime>

#include "host/vesk_history_ring.h"

namespace vesk {
namespace {

char text_storage[text_history_size];
char message_storage[message_history_size];
constinit history_ring texts(text_storage);
constinit history_ring messages(message_storage);

// Numbers the records of both rings: the clock may step, or say the same twice.
std::atomic<uint32_t> last_order;

vesk_wire_history head_now(uint32_t kind, uint32_t opcode) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  vesk_wire_history head{};
  head.secs = static_cast<uint32_t>(now.tv_sec);
  head.usecs = static_cast<uint32_t>(now.tv_nsec / 1000);
  head.kind = static_cast<uint16_t>(kind);
  head.opcode = opcode;
  return head;
}

struct cursor {
  const history_ring &ring;
  uint32_t at = ring.first();

  bool at_end() const { return at == ring.end(); }

  size_t take(std::span<char> out) {
    const uint32_t size = ring.record_size(at);
    ring.read_out(at, out.first(size));
    at = ring.next(at);
    return size;
  }
};

// Whether there is a record here that comes before what is there. The numbers wrap around.
bool is_next(const cursor &here, const cursor &there) {
  if (here.at_end() || there.at_end()) return !here.at_end();
  return static_cast<int32_t>(here.ring.order_at(here.at) - there.ring.order_at(there.at)) < 0;
}

}  // namespace

void note_text(uint32_t kind, std::string_view text) {
  texts.append(++last_order, head_now(kind, 0), text);
}

void note_message(uint32_t kind, uint32_t opcode) {
  messages.append(++last_order, head_now(kind, opcode), {});
}

size_t copy_history(std::span<char> out) {
  cursor text{texts};
  cursor message{messages};
  size_t copied = 0;
  while (!text.at_end() || !message.at_end()) {
    cursor &next = is_next(text, message) ? text : message;
    copied += next.take(out.subspan(copied));
  }
  return copied;
}

}  // namespace vesk
