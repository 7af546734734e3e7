#include "tests/faults/event_text.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "tests/support/header_bytes.h"
#include "tests/support/recorder.h"

namespace vesk::test {

namespace {

bool takes(std::string &text, std::string_view head) {
  if (!text.starts_with(head)) return false;
  text.erase(0, head.size());
  return true;
}

uint32_t host_word(const bytes &payload, size_t offset, size_t width) {
  uint32_t word = 0;
  uint16_t half = 0;
  if (width == sizeof half) {
    std::memcpy(&half, &payload[offset], sizeof half);
    return half;
  }
  std::memcpy(&word, &payload[offset], sizeof word);
  return word;
}

std::string text_of_answer(const bytes &payload) {
  if (payload.size() == 4) return "answer " + std::to_string(host_word(payload, 0, 4));
  if (payload.size() == 8) {
    return "answer " + std::to_string(host_word(payload, 0, 2)) + " " +
           std::to_string(host_word(payload, 2, 2)) + " " +
           std::to_string(static_cast<int32_t>(host_word(payload, 4, 4)));
  }
  return "answer of " + std::to_string(payload.size()) + " bytes";
}

std::string text_of_send(const sent_message &sent) {
  constexpr uint32_t answers = 0xFE000000;
  constexpr uint32_t exception = 7000, seconds_at = 161;
  if (sent.dest == answers) return text_of_answer(sent.payload);
  if (sent.opcode == exception) {
    return "send exception at " + std::to_string(get32(sent.payload, seconds_at));
  }
  return "send " + std::to_string(sent.opcode);
}

}  // namespace

std::string text_of_write(uint32_t offset, std::span<const uint8_t> written) {
  const std::string place = " at " + std::to_string(offset);
  const gheader_fields ring = gheader_of(written);
  if (ring.holds) {
    return "write header " + std::to_string(ring.start) + ".." + std::to_string(ring.end) +
           (offset == 0 ? "" : place);
  }
  if (written.size() == header_size && get16(written, 0) >= 1 && get16(written, 0) <= 2736) {
    const uint16_t type = get16(written, 2);
    return std::string("write ") + (sum_holds(written.data()) ? "" : "!") +
           (type == 0 ? "N" : "E" + std::to_string(type)) + "/" +
           std::to_string(get16(written, 4)) + place;
  }
  const bool zeros = std::all_of(written.begin(), written.end(), [](uint8_t b) { return b == 0; });
  return "write " + std::to_string(written.size()) + (zeros ? " zeros" : " bytes") + place;
}

std::string text_of_platform_call(const std::string &call, const sent_message *last_sent) {
  std::string text = call.substr(0, call.size() - 1);  // without the last bracket
  if (takes(text, "execute_program_and_wait(")) {
    return "run " + text.replace(text.find(", "), 2, " ").substr(text.find("/bin/") + 5);
  }
  if (text.starts_with("execute_program_and_let_go(/bin/rm, ")) {
    return "start rm " + text.substr(text.find(", ") + 2);
  }
  if (takes(text, "execute_program_and_let_go(")) return "start " + text;
  if (takes(text, "exec_cmd_with_files_print(\"")) return "run " + text.substr(0, text.find('"'));
  if (takes(text, "runctl_heartbeat(")) return "heartbeat " + text;
  if (takes(text, "rmdir(")) return "rmdir " + text;
  if (text.starts_with("ipq_send(")) return text_of_send(*last_sent);
  if (text.starts_with("ipq_recv(")) return "receive";
  if (text.starts_with("ipq_drop(")) return "drop";
  if (text.starts_with("dbgkit_hist_ipq_event(4")) return "note sent";
  if (text.starts_with("dbgkit_hist_") || text.starts_with("runctl_dispatch(") ||
      text.starts_with("ipq_errno_get(")) {
    return "";
  }
  return text.substr(0, text.find('('));
}

}  // namespace vesk::test
