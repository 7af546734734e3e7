#include "tools/veskctl/support.h"

#include <grp.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>

#include "format/vesk_catalogue.h"
#include "tools/shared/errors.h"
#include "tools/shared/text.h"
#include "tools/shared/time.h"

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

}  // namespace

void complain(const std::string &text) {
  std::fprintf(stderr, "veskctl: %s\n", text.c_str());
}

client_ptr open_client(const context &ctx) {
  vesk_client *client = nullptr;
  const auto code = vesk_client_open(&client, ctx.run_dir.empty() ? nullptr : ctx.run_dir.c_str(),
                                     static_cast<uint32_t>(ctx.timeout * 1000));
  if (code == VESK_CLIENT_SYSTEM) {
    complain("no socket to be had: " + shared::errno_text(errno));
  } else if (code != VESK_CLIENT_OK) {
    complain(vesk_client_error_text(code));
  }
  return client_ptr(client);
}

std::string advice(const vesk_client &client, vesk_client_code code) {
  const int failed_call = errno;
  const std::string address = vesk_client_address(&client);
  switch (code) {
    case VESK_CLIENT_NO_DAEMON:
      return "no daemon answers at " + address + ": is vesk_sup running?";
    case VESK_CLIENT_NO_PERMISSION:
      return "permission denied at " + address + ": run as root or join " +
             owning_group(address.c_str());
    case VESK_CLIENT_TIMED_OUT:
    case VESK_CLIENT_BUSY:
      return std::string(vesk_client_error_text(code)) + " at " + address +
             ": is vesk_sup hanging? --timeout gives it longer";
    case VESK_CLIENT_SYSTEM:
      return "talking to " + address + " failed: " + shared::errno_text(failed_call);
    case VESK_CLIENT_LARGE:
      return std::string(vesk_client_error_text(code)) + ": --allow-large sends it";
    default:
      return vesk_client_error_text(code);
  }
}

int status_of(const vesk_client &client, vesk_client_code code) {
  if (code == VESK_CLIENT_OK) return 0;
  complain(advice(client, code));
  return 1;
}

uint32_t file_type_of(const std::string &typed, uint32_t highest) {
  for (const auto &row : vesk_file_catalogue) {
    if (typed == row.name || typed + ".log" == row.name) return row.file_type();
  }
  uint32_t number = 0;
  const char *end = typed.data() + typed.size();
  const auto parsed = std::from_chars(typed.data(), end, number);
  const bool whole = parsed.ec == std::errc() && parsed.ptr == end;
  return whole && number <= highest ? number : 0;
}

CLI::Validator file_type_up_to(uint32_t highest) {
  return {[highest](std::string &typed) -> std::string {
            const uint32_t file_type = file_type_of(typed, highest);
            if (file_type == 0) {
              return "'" + typed + "' is neither a log file's name nor a file type of 1 to " +
                     std::to_string(highest);
            }
            typed = std::to_string(file_type);
            return {};
          },
          ""};
}

void add_directory(CLI::App &sub, std::string &directory) {
  sub.add_option("-D,--directory", directory, "Where the log files are")
      ->capture_default_str()
      ->type_name("DIR");
}

std::string file_label(uint32_t file_type) {
  const vesk_catalogue_row *row = find_file(file_type);
  return row != nullptr ? std::string(row->name) + " (" + std::to_string(file_type) + ")"
                        : "file type " + std::to_string(file_type);
}

std::string time_text(uint32_t secs, uint32_t usecs) {
  std::string text;
  shared::append_date_time(text, secs, shared::time_zone::local);
  shared::append_usecs(text, usecs);
  return text;
}

std::string printable(std::string_view text) {
  const auto is_space = [](char c) { return c == ' ' || c == '\n' || c == '\0'; };
  while (!text.empty() && is_space(text.back())) text.remove_suffix(1);
  std::string line;
  shared::append_safely(line, text);
  return line;
}

}  // namespace vesk::veskctl
