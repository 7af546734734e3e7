// Running the built veskctl against a stand-in for the daemon, and looking at what it says.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/fake_service.h"
#include "tests/support/program.h"
#include "tests/support/text.h"

namespace vesk::test {

// Where a program finds the stand-in, and this on its standard input.
start_options in(const run_dir &dir, const std::string &input = {});

ended veskctl(const run_dir &dir, const std::vector<std::string> &arguments,
              const std::string &input = {});

// Sends the lines of `input` to vesk.log as sender 25, with `more` options.
ended send_lines(const run_dir &dir, const std::string &input,
                 const std::vector<std::string> &more = {});

// Expects one line that says who speaks.
void expect_one_line(const std::string &err);

// One record of the event history as the host answers it.
std::string event(uint32_t secs, uint32_t usecs, uint16_t kind, uint32_t opcode,
                  const std::string &text);

// The host's answer to a status request: pid, microseconds of uptime, and the eleven counters.
std::string host_status(uint32_t pid, uint64_t uptime, const std::vector<uint64_t> &counters);

}  // namespace vesk::test
