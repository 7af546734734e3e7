// veskctl: talks to a running Persistent Logger.
#include <map>
#include <string_view>

#include "tools/veskctl/subcommands.h"

int main(int argc, char **argv) {
  using namespace vesk::veskctl;
  const std::map<std::string_view, int (*)(const options &)> subcommands = {
      {"send", send},         {"stats", stats},
      {"enable", command},    {"disable", command},
      {"clear", command},     {"config", config},
      {"recover", recover},   {"fail-notice", fail_notice},
      {"debug", debug},       {"history", history},
      {"monitor", monitor},   {"status", status},
      {"snapshot", snapshot}, {"metrics", metrics},
  };
  options wanted;
  if (const auto status = parse_command_line(argc, argv, wanted)) return *status;
  return subcommands.at(wanted.subcommand)(wanted);
}
