#include "tests/unit/tools/veskctl/run_veskctl.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vesk::test {
namespace {

std::string long_word(uint64_t value) {
  return {reinterpret_cast<const char *>(&value), sizeof value};
}

}  // namespace

start_options in(const run_dir &dir, const std::string &input) {
  return {.input = input, .environment = {{"VESK_RUN_DIR", dir.path()}}};
}

ended veskctl(const run_dir &dir, const std::vector<std::string> &arguments,
              const std::string &input) {
  std::vector<std::string> command = {"veskctl"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return run(command, in(dir, input));
}

ended send_lines(const run_dir &dir, const std::string &input,
                 const std::vector<std::string> &more) {
  std::vector<std::string> arguments = {"send", "--file", "vesk", "--uuid", "25"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return veskctl(dir, arguments, input);
}

void expect_one_line(const std::string &err) {
  EXPECT_EQ(err.rfind("veskctl: ", 0), 0u) << err;
  EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
}

std::string event(uint32_t secs, uint32_t usecs, uint16_t kind, uint32_t opcode,
                  const std::string &text) {
  const uint16_t half[] = {kind, static_cast<uint16_t>(text.size())};
  std::string record = word(secs) + word(usecs);
  record.append(reinterpret_cast<const char *>(half), sizeof half);
  record += word(opcode) + text;
  return record.append((4 - text.size() % 4) % 4, '\0');
}

std::string host_status(uint32_t pid, uint64_t uptime, const std::vector<uint64_t> &counters) {
  std::string answer = word(1) + word(pid) + long_word(uptime);
  for (const uint64_t counter : counters) answer += long_word(counter);
  return answer;
}

}  // namespace vesk::test
