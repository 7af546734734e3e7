// veskctl metrics: the state of the log files and of the daemon, for a monitoring system.
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <optional>

#include "base/vesk_failure.h"
#include "reader/vesk_ring_image.h"
#include "reader/vesk_ring_summary.h"
#include "tools/shared/files.h"
#include "tools/shared/flash.h"
#include "tools/shared/new_file.h"
#include "tools/shared/text.h"
#include "tools/veskctl/daemon.h"
#include "tools/veskctl/exposition.h"
#include "tools/veskctl/output.h"
#include "tools/veskctl/subcommands.h"

namespace vesk::veskctl {
namespace {

// --- the log files ---

struct measured_file {
  const vesk_catalogue_row *row;
  bool readable;
  // Of a readable file:
  uint64_t size;
  ring_summary summary;  // the data of its entries are gone
};

measured_file measure(const shared::log_file &file) {
  std::vector<uint8_t> image;
  if (const failure why = read_ring_image(file.path, file.row->max_size, image)) {
    complain(file.path + ": " + why.reason);
    return {file.row, false, 0, {}};
  }
  return {file.row, true, image.size(), summarize(image, file.row->max_size)};
}

std::vector<measured_file> measure_files(const std::string &directory) {
  std::error_code trouble;
  const std::filesystem::directory_iterator probe(directory, trouble);
  if (trouble) complain(directory + ": " + trouble.message());
  std::vector<measured_file> measured;
  for (const shared::log_file &file : shared::files_in(directory)) {
    measured.push_back(measure(file));
  }
  return measured;
}

std::string hundredths(uint32_t percent) {
  return shared::formatted("%u.%02u", percent / 100, percent % 100);
}

std::string seconds_text(const std::optional<ring_entry> &entry) {
  if (!entry) return {};
  const uint64_t stamp = stamp_of(*entry);
  return shared::formatted("%" PRIu64 ".%06" PRIu64, stamp / 1'000'000, stamp % 1'000'000);
}

std::string flag(bool value) {
  return value ? "1" : "0";
}

// Empty where there is none. Of a file that cannot be read, only capacity and soundness are known.
using file_value = std::string (*)(const measured_file &);

struct file_family {
  const char *name;
  const char *help;
  file_value value;
};

constexpr file_family file_families[] = {
    {"vesk_file_size_bytes", "Size of the log file.",
     [](const measured_file &f) { return f.readable ? std::to_string(f.size) : ""; }},
    {"vesk_file_capacity_bytes", "Size up to which the log file grows before it wraps.",
     [](const measured_file &f) { return std::to_string(f.row->max_size); }},
    {"vesk_file_fill_ratio", "Part of the log file's room that its live entries take.",
     [](const measured_file &f) {
       return f.summary.state ? hundredths(fill_percent(*f.summary.state)) : "";
     }},
    {"vesk_file_entries", "Entries that can be read.",
     [](const measured_file &f) { return f.readable ? std::to_string(f.summary.entries) : ""; }},
    {"vesk_file_oldest_entry_timestamp_seconds", "Time stamp of the oldest entry.",
     [](const measured_file &f) { return seconds_text(f.summary.oldest); }},
    {"vesk_file_newest_entry_timestamp_seconds", "Time stamp of the newest entry.",
     [](const measured_file &f) { return seconds_text(f.summary.newest); }},
    {"vesk_file_wrapped", "Whether the newest entries lie before the oldest ones.",
     [](const measured_file &f) {
       return f.summary.state ? flag(f.summary.state->wrapped()) : "";
     }},
    {"vesk_file_sound", "Whether the log file can be read and no damage was found.",
     [](const measured_file &f) { return flag(f.readable && !f.summary.damage); }},
};

void expose_files(exposition &out, const std::vector<measured_file> &files) {
  if (files.empty()) return;
  for (const file_family &family : file_families) {
    out.family(family.name, metric_type::gauge, family.help);
    for (const measured_file &file : files) {
      const std::string value = family.value(file);
      if (!value.empty()) out.sample({{"file", file.row->name}}, value);
    }
  }
}

// --- the daemon ---

void expose_host(exposition &out, const vesk_wire_status &host) {
  out.family("vesk_uptime_seconds", metric_type::gauge, "Time since the daemon started.");
  out.sample({}, shared::formatted("%.6f", static_cast<double>(host.uptime_usecs) / 1e6));
  const auto count = [&out](const char *name, const char *help, uint64_t value) {
    out.family(name, metric_type::counter, help);
    out.sample({}, value);
  };
  count("vesk_messages_received_total", "Messages accepted.", host.received);
  out.family("vesk_messages_refused_total", metric_type::counter,
             "Messages refused or dropped before the daemon saw them, by reason.");
  for (const auto &reason : refusal_counts) {
    out.sample({{"reason", reason.label}}, host.*reason.count);
  }
  count("vesk_answers_sent_total", "Answers and receipts sent.", host.answered);
  count("vesk_answers_lost_total", "Answers, receipts and refusals that reached nobody.",
        host.unanswered);
  count("vesk_listener_messages_sent_total", "Messages that a listener got.",
        host.listeners_reached);
  count("vesk_listener_messages_missed_total", "Messages that a listener did not take.",
        host.listeners_missed);
}

void expose_senders(exposition &out, const std::vector<vesk_client_sender_statistics> &rows) {
  const auto count = [&](const char *name, const char *help, auto member) {
    out.family(name, metric_type::counter, help);
    for (size_t uuid = 0; uuid < rows.size(); ++uuid) {
      if (rows[uuid].entry_count == 0 && rows[uuid].byte_count == 0) continue;
      out.sample({{"uuid", std::to_string(uuid)}}, uint64_t{rows[uuid].*member});
    }
  };
  count("vesk_sender_entries_total",
        "Entries stored, by the sender's uuid; a clear sets them to 0.",
        &vesk_client_sender_statistics::entry_count);
  count("vesk_sender_bytes_total", "Bytes that those entries take, headers and padding included.",
        &vesk_client_sender_statistics::byte_count);
}

void expose_daemon(exposition &out, vesk_client &client) {
  vesk_wire_status host{};
  const auto silent = failure_of(client, fetch_host_status(client, host));
  if (silent) complain(silent.reason);
  out.family("vesk_up", metric_type::gauge, "Whether the daemon answers.");
  out.sample({}, flag(!silent));
  if (silent) return;
  expose_host(out, host);

  std::vector<vesk_client_sender_statistics> rows(VESK_CLIENT_STATISTICS_ROWS);
  if (const auto why = failure_of(client, vesk_client_statistics(&client, rows.data()))) {
    complain("no sender statistics: " + why.reason);
  } else {
    expose_senders(out, rows);
  }
}

// --- all of it ---

failure put_out(const std::string &text, const std::string &path) {
  if (path.empty()) {
    const bool whole = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    if (whole && std::fflush(stdout) == 0) return {};
    return {"standard output cannot be written"};
  }
  const failure why = shared::replace_file(path, text);
  return why ? failure{"cannot write " + path + ": " + why.reason} : why;
}

}  // namespace

int metrics(const options &wanted) {
  const client_ptr client = open_client(wanted);
  if (!client) return 1;
  exposition out;
  out.family("vesk_metrics_info", metric_type::gauge, "Where these metrics come from.");
  out.sample({{"directory", shared::safely(wanted.directory)}, {"version", VESK_VERSION_TEXT}},
             flag(true));
  expose_daemon(out, *client);
  out.family("vesk_flash_marked", metric_type::gauge,
             "Whether the flash is marked as mounted; if not, the daemon drops every message.");
  out.sample({}, flag(shared::is_marked_mounted()));
  expose_files(out, measure_files(wanted.directory));
  return status_of(put_out(out.text(), wanted.output));
}

}  // namespace vesk::veskctl
