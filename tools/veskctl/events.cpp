#include "tools/veskctl/events.h"

#include <cstring>
#include <string_view>

#include "protocol/vesk_wire.h"

namespace vesk::veskctl {
namespace {

// Takes an answer apart. False when a record's length does not hold.
bool take_apart(std::string_view rest, std::vector<event> &events) {
  while (!rest.empty()) {
    vesk_wire_history head{};
    if (rest.size() < sizeof head) return false;
    std::memcpy(&head, rest.data(), sizeof head);
    rest.remove_prefix(sizeof head);
    const size_t padded = (size_t{head.length} + 3) & ~size_t{3};
    if (rest.size() < padded) return false;
    events.push_back(
        {head.secs, head.usecs, head.kind, head.opcode, std::string(rest.substr(0, head.length))});
    rest.remove_prefix(padded);
  }
  return true;
}

}  // namespace

vesk_client_code fetch_events(vesk_client &client, std::vector<event> &events) {
  std::vector<char> answer(VESK_WIRE_MAX_PAYLOAD);
  size_t length = 0;
  const auto code = vesk_client_request(&client, VESK_WIRE_OPC_HISTORY, nullptr, 0, answer.data(),
                                        answer.size(), &length);
  if (code != VESK_CLIENT_OK) return code;
  std::vector<event> found;
  if (!take_apart({answer.data(), length}, found)) return VESK_CLIENT_BAD_ANSWER;
  events = std::move(found);
  return VESK_CLIENT_OK;
}

}  // namespace vesk::veskctl
