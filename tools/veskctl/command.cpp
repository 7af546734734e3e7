// veskctl enable, disable, clear: the logging of one file or of all.
#include <cstdio>

#include "format/vesk_catalogue.h"
#include "protocol/vesk_messages.h"
#include "tools/veskctl/support.h"

namespace vesk::veskctl {
namespace {

constexpr uint16_t every_type = 0;
constexpr uint32_t highest_type = VESK_MAX_FILE_TYPES - 1;

struct action {
  const char *name;
  uint16_t command;
  const char *done;  // what to say of a file when it succeeded
  const char *summary;
  const char *footer;
};

constexpr action actions[] = {
    {"enable", VESK_ENABLE_LOGGING, "logging enabled", "Let records into a log file again",
     "Refused after the flash has failed, until the daemon is restarted.\n\n"
     "Examples:\n  veskctl enable platform\n  veskctl enable all"},
    {"disable", VESK_DISABLE_LOGGING, "logging disabled", "Drop every record for a log file",
     "Lasts until it is enabled again or the daemon is restarted.\n\n"
     "Examples:\n  veskctl disable kernel_big.log\n  veskctl disable all"},
    {"clear", VESK_CLEAR_LOGGING, "cleared", "Delete a log file with all its entries",
     "The next record makes the file anew. A successful clear also sets the statistics of all\n"
     "senders back to zero. 'all' clears the log files one after the other.\n\n"
     "Examples:\n  veskctl clear temperature_err\n  veskctl clear all"},
};

std::string label(uint16_t file_type) {
  return file_type == every_type ? "all file types" : file_label(file_type);
}

// Sends one command and says how it ended. Returns the exit status.
int order(vesk_client &client, const action &what, uint16_t file_type) {
  const vesk_command request = {what.command, file_type};
  vesk_command_response response{};
  size_t length = 0;
  auto code = vesk_client_request(&client, IPQ_OPC_VESK_COMMAND, &request, sizeof request,
                                  &response, sizeof response, &length);
  if (code == VESK_CLIENT_OK && length != sizeof response) code = VESK_CLIENT_BAD_ANSWER;
  if (code != VESK_CLIENT_OK) return status_of(client, code);
  if (response.result != 0) {
    complain(label(file_type) + ": " + vesk_client_error_text(VESK_CLIENT_REFUSED));
    return 1;
  }
  std::printf("%s: %s\n", label(file_type).c_str(), what.done);
  return 0;
}

// The daemon's own way to clear all goes through file types that have no file and therefore always
// answers that it failed. File by file, the answers mean something.
int clear_every_file(vesk_client &client, const action &what) {
  int status = 0;
  for (const auto &row : vesk_file_catalogue) {
    if (order(client, what, row.file_type()) != 0) status = 1;
  }
  return status;
}

int run(const context &ctx, const action &what, uint32_t file_type) {
  const client_ptr client = open_client(ctx);
  if (!client) return 1;
  if (what.command == VESK_CLEAR_LOGGING && file_type == every_type) {
    return clear_every_file(*client, what);
  }
  return order(*client, what, static_cast<uint16_t>(file_type));
}

// A file, or the word "all", which becomes file type 0.
CLI::Validator file_or_all() {
  return {[](std::string &typed) -> std::string {
            if (typed == "all") {
              typed = std::to_string(every_type);
              return {};
            }
            return file_type_up_to(highest_type)(typed);
          },
          ""};
}

}  // namespace

void add_commands(CLI::App &app, context &ctx) {
  for (const action &what : actions) {
    auto *sub = app.add_subcommand(what.name, what.summary);
    auto file_type = std::make_shared<uint32_t>();
    sub->add_option("file", *file_type, "Log file: its name or its file type, or 'all'")
        ->required()
        ->type_name("FILE|all")
        ->transform(file_or_all());
    sub->footer(std::string("Only root and the daemon's own user may do this.\n") + what.footer);
    sub->callback([&ctx, &what, file_type] { ctx.status = run(ctx, what, *file_type); });
  }
}

}  // namespace vesk::veskctl
