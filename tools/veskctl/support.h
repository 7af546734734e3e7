// What the subcommands of veskctl share: reaching the daemon, saying what went wrong, file names.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "client/vesk_client.h"
#include "tools/veskctl/subcommands.h"

namespace vesk::veskctl {

struct close_client {
  void operator()(vesk_client *client) const { vesk_client_close(client); }
};
using client_ptr = std::unique_ptr<vesk_client, close_client>;

// A handle for the daemon that the command line names; null, after a line on stderr, when there is
// none to be had.
client_ptr open_client(const context &ctx);

// Prints one line on stderr, "veskctl: " in front and a newline behind.
void complain(const std::string &text);

// What to tell a person about a failed call: what happened and what to do about it.
std::string advice(const vesk_client &client, vesk_client_code code);

// The exit status of a call: 0, or 1 after a line on stderr.
int status_of(const vesk_client &client, vesk_client_code code);

// Checks a file that was typed: a name of the catalogue, with or without ".log", or a file type of
// 1 to `highest`; turns it into the number.
CLI::Validator file_type_up_to(uint32_t highest);

// The number behind a name or number, 0 when it is neither.
uint32_t file_type_of(const std::string &typed, uint32_t highest);

// Check a number and a word that were typed. The option's type name tells in the help what it
// takes, so that these need not.
inline CLI::Validator one_of(std::vector<std::string> words) {
  return CLI::IsMember(std::move(words)).description("");
}

template <typename T>
CLI::Validator within(T lowest, T highest) {
  return CLI::Range(lowest, highest).description("");
}

// Adds -D: the directory of the log files; `directory` holds the default.
void add_directory(CLI::App &sub, std::string &directory);

// "vesk.log (5)", or "file type 38" where the catalogue has no name.
std::string file_label(uint32_t file_type);

// "2026-01-31 12:00:00.000001", local time.
std::string time_text(uint32_t secs, uint32_t usecs);

// The text on one line, without white space at its end, as shared::append_safely() shows it.
std::string printable(std::string_view text);

}  // namespace vesk::veskctl
