// veskctl enable, disable, clear: the logging of one file or of all.
#include <algorithm>
#include <cstdio>

#include "format/vesk_catalogue.h"
#include "protocol/vesk_messages.h"
#include "tools/veskctl/daemon.h"
#include "tools/veskctl/output.h"
#include "tools/veskctl/subcommands.h"

namespace vesk::veskctl {
namespace {

struct action {
  const char *name;
  uint16_t command;
  const char *done;  // what to say of a file when it succeeded
};

constexpr action actions[] = {
    {"enable", VESK_ENABLE_LOGGING, "logging enabled"},
    {"disable", VESK_DISABLE_LOGGING, "logging disabled"},
    {"clear", VESK_CLEAR_LOGGING, "cleared"},
};

// Sends one command and says how it ended. Returns the exit status.
int order(vesk_client &client, const action &what, uint32_t file_type) {
  const std::string label = file_type == 0 ? "all file types" : file_label(file_type);
  const vesk_command request = {what.command, static_cast<uint16_t>(file_type)};
  vesk_command_response response{};
  if (const auto why = ask(client, IPQ_OPC_VESK_COMMAND, request, response)) return status_of(why);
  if (response.result != 0) {
    return status_of({label + ": " + vesk_client_error_text(VESK_CLIENT_REFUSED)});
  }
  std::printf("%s: %s\n", label.c_str(), what.done);
  return 0;
}

// The daemon's own way to clear all goes through file types that have no file and therefore always
// answers that it failed. File by file, the answers mean something.
int clear_every_file(vesk_client &client, const action &what) {
  int status = 0;
  for (const auto &row : vesk_file_catalogue) status |= order(client, what, row.file_type());
  return status;
}

}  // namespace

int command(const options &wanted) {
  const client_ptr client = open_client(wanted);
  if (!client) return 1;
  const action &what = *std::find_if(std::begin(actions), std::end(actions),
                                     [&](const action &a) { return a.name == wanted.subcommand; });
  const bool every_file = what.command == VESK_CLEAR_LOGGING && wanted.file_type == 0;
  return every_file ? clear_every_file(*client, what) : order(*client, what, wanted.file_type);
}

}  // namespace vesk::veskctl
