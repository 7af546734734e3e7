#include "tests/unit/tools/veskshow/run_veskshow.h"

namespace vesk::test {

namespace {

std::vector<std::string> command_of(const std::vector<std::string> &arguments) {
  std::vector<std::string> command = {"veskshow"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return command;
}

start_options in_the_east() {
  return {.environment = {{"TZ", "EAST-2"}}};
}

start_options on_terminal(const std::map<std::string, std::string> &environment) {
  start_options how = in_the_east();
  how.on_terminal = true;
  for (const char *name : {"VESK_PAGER", "PAGER", "LESS"}) how.environment[name] = {};
  how.environment["TERM"] = "xterm";
  for (const auto &[name, value] : environment) how.environment[name] = value;
  return how;
}

}  // namespace

ended veskshow(const std::vector<std::string> &arguments, const std::string &directory) {
  start_options how = in_the_east();
  how.directory = directory;
  return run(command_of(arguments), how);
}

ended veskshow_as_nobody(const std::vector<std::string> &arguments) {
  start_options how = in_the_east();
  how.as_nobody = true;
  return run(command_of(arguments), how);
}

running_veskshow::running_veskshow(const std::vector<std::string> &arguments)
    : program(command_of(arguments), in_the_east()) {}

running_veskshow::running_veskshow(const std::vector<std::string> &arguments,
                                   const std::map<std::string, std::string> &environment)
    : program(command_of(arguments), on_terminal(environment)) {}

}  // namespace vesk::test
