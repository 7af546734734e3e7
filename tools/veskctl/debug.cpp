// veskctl debug and history: what the daemon prints and records of its own doings.
#include <cstdio>
#include <vector>

#include "protocol/vesk_wire.h"
#include "tools/veskctl/events.h"
#include "tools/veskctl/support.h"

namespace vesk::veskctl {
namespace {

const std::vector<std::string> level_names = {"none", "error", "trace"};

struct debug_options {
  std::string print;
  std::string record;
};

uint8_t level_of(const std::string &typed) {
  for (size_t i = 0; i < level_names.size(); ++i) {
    if (typed == level_names[i]) return static_cast<uint8_t>(i);
  }
  return VESK_WIRE_DEBUG_KEEP;
}

const char *level_name(uint8_t level) {
  return level < level_names.size() ? level_names[level].c_str() : "unknown";
}

int run_debug(const context &ctx, const debug_options &options) {
  const client_ptr client = open_client(ctx);
  if (!client) return 1;
  const vesk_wire_debug wanted = {level_of(options.print), level_of(options.record), {}};
  vesk_wire_debug in_force{};
  size_t length = 0;
  auto code = vesk_client_request(client.get(), VESK_WIRE_OPC_DEBUG, &wanted, sizeof wanted,
                                  &in_force, sizeof in_force, &length);
  if (code == VESK_CLIENT_OK && length != sizeof in_force) code = VESK_CLIENT_BAD_ANSWER;
  const int status = status_of(*client, code);
  if (status == 0) {
    std::printf("print: %s\nrecord: %s\n", level_name(in_force.print), level_name(in_force.record));
  }
  return status;
}

std::string line_of(const event &e) {
  const std::string when = time_text(e.secs, e.usecs) + ' ';
  switch (e.kind) {
    case message_received:
      return when + "received message " + std::to_string(e.opcode);
    case message_sent:
      return when + "sent message " + std::to_string(e.opcode);
    case trace_line:
      return when + "trace " + printable(e.text);
    case error_line:
      return when + "error " + printable(e.text);
    default:
      return when + "kind " + std::to_string(e.kind) + ' ' + printable(e.text);
  }
}

int run_history(const context &ctx, size_t newest) {
  const client_ptr client = open_client(ctx);
  if (!client) return 1;
  std::vector<event> events;
  const int status = status_of(*client, fetch_events(*client, events));
  if (status != 0) return status;
  const size_t first = newest != 0 && newest < events.size() ? events.size() - newest : 0;
  for (size_t i = first; i < events.size(); ++i) std::printf("%s\n", line_of(events[i]).c_str());
  return 0;
}

}  // namespace

void add_debug(CLI::App &app, context &ctx) {
  auto *sub = app.add_subcommand(
      "debug", "Choose what the daemon prints and records, and show what is in force");
  auto options = std::make_shared<debug_options>();
  sub->add_option("--print", options->print, "What it prints: 'trace' includes errors")
      ->type_name("none|error|trace")
      ->check(one_of(level_names));
  sub->add_option("--record", options->record, "What it keeps in its event history")
      ->type_name("none|error|trace")
      ->check(one_of(level_names));
  sub->footer(
      "Without options, shows only. Only root and the daemon's own user may do this.\n\n"
      "Examples:\n"
      "  veskctl debug\n"
      "  veskctl debug --print trace\n"
      "  veskctl debug --print error --record trace");
  sub->callback([&ctx, options] { ctx.status = run_debug(ctx, *options); });
}

void add_history(CLI::App &app, context &ctx) {
  auto *sub = app.add_subcommand("history", "Show the daemon's event history, oldest first");
  auto newest = std::make_shared<size_t>(0);
  sub->add_option("-n", *newest, "Only the newest N events")
      ->type_name("N")
      ->check(within(size_t{1}, size_t{UINT32_MAX}));
  sub->footer(
      "As many of the newest events as fit one message. Only root and the daemon's own user may\n"
      "do this.\n\n"
      "Examples:\n"
      "  veskctl history\n"
      "  veskctl history -n 20");
  sub->callback([&ctx, newest] { ctx.status = run_history(ctx, *newest); });
}

}  // namespace vesk::veskctl
