#include "tools/veskctl/daemon.h"

#include <grp.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "format/vesk_ring.h"
#include "tools/veskctl/output.h"

namespace vesk::veskctl {
namespace {

// Who may open the daemon's socket, as far as we may know it.
std::string owning_group(const char *path) {
  struct stat st {};
  if (stat(path, &st) != 0) return "the group that owns it";
  const group *owner = getgrgid(st.st_gid);
  return owner != nullptr ? "group '" + std::string(owner->gr_name) + "', which owns it"
                          : "group " + std::to_string(st.st_gid) + ", which owns it";
}

// Takes an answer apart. False when a record's length does not hold.
bool take_apart(std::string_view rest, std::vector<event> &events) {
  while (!rest.empty()) {
    vesk_wire_history head{};
    if (rest.size() < sizeof head) return false;
    std::memcpy(&head, rest.data(), sizeof head);
    rest.remove_prefix(sizeof head);
    if (rest.size() < padded(head.length)) return false;
    events.push_back({head, std::string(rest.substr(0, head.length))});
    rest.remove_prefix(padded(head.length));
  }
  return true;
}

}  // namespace

const char *run_dir_of(const options &wanted) {
  return wanted.run_dir.empty() ? nullptr : wanted.run_dir.c_str();
}

client_ptr open_client(const options &wanted) {
  vesk_client *client = nullptr;
  const auto code =
      vesk_client_open(&client, run_dir_of(wanted), static_cast<uint32_t>(wanted.timeout * 1000));
  if (code == VESK_CLIENT_SYSTEM) {
    complain("no socket to be had: " + errno_text(errno));
  } else if (code != VESK_CLIENT_OK) {
    complain(vesk_client_error_text(code));
  }
  return client_ptr(client);
}

failure failure_of(const vesk_client &client, vesk_client_code code) {
  const int failed_call = errno;
  const std::string address = vesk_client_address(&client);
  const std::string text = vesk_client_error_text(code);
  switch (code) {
    case VESK_CLIENT_OK:
      return {};
    case VESK_CLIENT_NO_DAEMON:
      return {"no daemon answers at " + address + ": is vesk_sup running?"};
    case VESK_CLIENT_NO_PERMISSION:
      return {"permission denied at " + address + ": run as root or join " +
              owning_group(address.c_str())};
    case VESK_CLIENT_TIMED_OUT:
    case VESK_CLIENT_BUSY:
      return {text + " at " + address + ": is vesk_sup hanging? --timeout gives it longer"};
    case VESK_CLIENT_SYSTEM:
      return {"talking to " + address + " failed: " + errno_text(failed_call)};
    case VESK_CLIENT_LARGE:
      return {text + ": --allow-large sends it"};
    default:
      return {text};
  }
}

vesk_client_code fetch_host_status(vesk_client &client, vesk_wire_status &status) {
  char answer[4096];  // with room for the fields of later versions
  size_t length = 0;
  const auto code = vesk_client_request(&client, VESK_WIRE_OPC_STATUS, nullptr, 0, answer,
                                        sizeof answer, &length);
  if (code != VESK_CLIENT_OK) return code;
  vesk_wire_status got{};
  if (length < sizeof got) return VESK_CLIENT_BAD_ANSWER;
  std::memcpy(&got, answer, sizeof got);
  if (got.version < VESK_WIRE_STATUS_VERSION) return VESK_CLIENT_BAD_ANSWER;
  status = got;
  return VESK_CLIENT_OK;
}

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
