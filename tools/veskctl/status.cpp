// veskctl status: how the daemon and its flash are.
#include "tools/veskctl/status.h"

#include <chrono>

#include "protocol/vesk_levels.h"
#include "tools/veskctl/subcommands.h"

namespace vesk::veskctl {
namespace {

bool came_back(vesk_client_code code) {
  switch (code) {
    case VESK_CLIENT_OK:
    case VESK_CLIENT_UNANSWERED:
    case VESK_CLIENT_BAD_ANSWER:
    case VESK_CLIENT_HOST_BAD_VERSION:
    case VESK_CLIENT_HOST_BAD_LENGTH:
    case VESK_CLIENT_HOST_NOT_PERMITTED:
    case VESK_CLIENT_HOST_BAD_REQUEST:
    case VESK_CLIENT_HOST_REFUSED:
      return true;
    default:
      return false;
  }
}

void ask_daemon(vesk_client &client, findings &found) {
  using std::chrono::steady_clock;
  vesk_wire_status status{};
  const auto begun = steady_clock::now();
  const auto code = fetch_host_status(client, status);
  found.daemon_trouble = failure_of(client, code);
  found.answer_seconds = std::chrono::duration<double>(steady_clock::now() - begun).count();
  found.answers = came_back(code);
  if (code == VESK_CLIENT_OK) found.host = status;
  if (code == VESK_CLIENT_UNANSWERED) {
    found.daemon_trouble = {"it is of a version that does not know the status request"};
  }
}

void ask_for_errors(vesk_client &client, findings &found) {
  if (!found.answers) {
    found.errors_trouble = {"the daemon does not answer"};
    return;
  }
  found.errors_trouble = failure_of(client, fetch_events(client, found.errors));
  std::erase_if(found.errors, [](const event &e) { return e.head.kind != VESK_LEVEL_ERROR; });
}

}  // namespace

int status(const options &wanted) {
  const client_ptr client = open_client(wanted);
  if (!client) return 1;
  findings found{};
  ask_daemon(*client, found);
  found.marked = shared::is_marked_mounted();
  found.flash = shared::file_system_of(shared::log_directory);
  ask_for_errors(*client, found);
  wanted.json ? print_status_json(found) : print_status(found);
  return found.answers && found.marked ? 0 : 1;
}

}  // namespace vesk::veskctl
