#include "tools/veskctl/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <type_traits>

#include "format/vesk_catalogue.h"
#include "tools/shared/text.h"
#include "tools/shared/time.h"
#include "tools/veskctl/help.h"
#include "tools/veskctl/output.h"

namespace vesk::veskctl {
namespace {

constexpr uint32_t highest_file_type = VESK_MAX_FILE_TYPES - 1;

// In the order of their numbers.
const std::vector<std::string> sync_words = {"none", "answer", "flash"};
const std::vector<std::string> level_words(std::begin(level_names), std::end(level_names));

// What was typed, before it becomes part of the options.
struct typed {
  std::string sync = "answer";
  std::string time;
  std::vector<std::string> text;
  std::vector<std::string> enable;
  std::string print;
  std::string record;
};

// --- checks; the help says by the option's type name what it takes, so that these need not ---

CLI::Validator one_of(const std::vector<std::string> &words) {
  return CLI::IsMember(words).description("");
}

uint8_t number_of(const std::vector<std::string> &words, const std::string &word) {
  return static_cast<uint8_t>(std::find(words.begin(), words.end(), word) - words.begin());
}

// The number behind a name or number, 0 when it is neither.
uint32_t file_type_of(const std::string &word, uint32_t highest) {
  for (const auto &row : vesk_file_catalogue) {
    if (word == row.name || word + ".log" == row.name) return row.file_type();
  }
  const uint32_t number = shared::number_in<uint32_t>(word).value_or(0);
  return number <= highest ? number : 0;
}

// Turns a file's name, with or without ".log", or a file type of 1 to `highest` into the type;
// and each of the words that stand for a set of files into what stands behind it.
CLI::Validator file_type_up_to(uint32_t highest,
                               const std::map<std::string, std::string> &sets = {}) {
  return {[=](std::string &word) -> std::string {
            const auto set = sets.find(word);
            const uint32_t file_type = file_type_of(word, highest);
            if (set == sets.end() && file_type == 0) {
              return "'" + word + "' is neither a log file's name nor a file type of 1 to " +
                     std::to_string(highest);
            }
            word = set != sets.end() ? set->second : std::to_string(file_type);
            return {};
          },
          ""};
}

// The microseconds of "SECS" or "SECS.MICROS", the latter with up to six digits. 0 is no time,
// since a record without one gets the time at which it is sent.
std::optional<uint64_t> time_of(const std::string &word) {
  const size_t point = word.find('.');
  if (word.find_first_not_of("0123456789.") != std::string::npos) return {};
  if (point != std::string::npos && word.size() - point > sizeof ".999999" - 1) return {};
  const auto usecs = shared::parse_time("@" + word, 0, shared::time_zone::utc);
  return usecs && *usecs > 0 && *usecs / 1'000'000 <= UINT32_MAX ? usecs : std::nullopt;
}

CLI::Validator is_time() {
  return {[](const std::string &word) {
            return time_of(word) ? "" : "'" + word + "' is no time of the form SECS[.MICROS]";
          },
          ""};
}

// --- the subcommands ---

template <typename Number>
CLI::Option *add_number(CLI::App &sub, const char *name, Number &value, const char *help,
                        std::type_identity_t<Number> lowest, std::type_identity_t<Number> highest) {
  return sub.add_option(name, value, help)
      ->type_name("N")
      ->check(CLI::Range(lowest, highest).description(""));
}

CLI::App &add(CLI::App &app, const char *name, const char *summary, const char *footer) {
  CLI::App *sub = app.add_subcommand(name, summary);
  sub->footer(footer);
  return *sub;
}

void add_send(CLI::App &app, options &wanted, typed &words) {
  auto &given = wanted.send;
  CLI::App &sub =
      add(app, "send", "Send log records: the text given, or one record a line of standard input",
          send_help);
  sub.add_option("--file", wanted.file_type, "Log file: its name or its file type, 1 to 38")
      ->required()
      ->type_name("FILE")
      ->transform(file_type_up_to(VESK_MAX_REQ_FILE_TYPE));
  add_number(sub, "--uuid", given.uuid, "Service uuid of the sender, 1 to 2736", 1, VESK_MAX_UUID)
      ->required();
  add_number(sub, "--type", given.type, "Object type of the records, 1024 to 65535",
             VESK_MIN_OBJECT_TYPE, UINT16_MAX)
      ->capture_default_str();
  add_number(sub, "--flags", given.flags, "Flags kept with each entry, 0 to 255", 0, UINT8_MAX)
      ->capture_default_str();
  sub.add_option("--sync", words.sync,
                 "Wait for nothing, for the daemon's answer, or for the flash as well")
      ->capture_default_str()
      ->type_name("none|answer|flash")
      ->check(one_of(sync_words));
  sub.add_flag("--update", given.update, "Replace a matching entry where there is one");
  sub.add_option("--instance", given.instance,
                 "Which matching entry --update replaces: 0 the last, N the N-th")
      ->capture_default_str()
      ->type_name("N");
  sub.add_option("--time", words.time,
                 "Time stamp of every record, in seconds since 1970; without, the time now")
      ->type_name("SECS[.MICROS]")
      ->check(is_time());
  sub.add_flag("--allow-large", given.allow_large,
               "Send records of more than half their file's capacity as well");
  CLI::Option *whole = sub.add_flag(
      "--whole", given.whole, "Send all of standard input as one record, its bytes as they are");
  whole->excludes(
      sub.add_option("text", words.text, "The record's data; several words are joined by blanks")
          ->type_name("TEXT")
          ->check([](const std::string &word) {
            return word.empty() ? "a record must have data" : std::string();
          }));
}

void add_stats(CLI::App &app, options &wanted) {
  add(app, "stats",
      "Show how many entries and bytes each sender has stored since the daemon started", stats_help)
      .add_flag("--json", wanted.json, "Print an array of objects in place of the table");
}

void add_commands(CLI::App &app, options &wanted) {
  for (CLI::App *sub : {&add(app, "enable", "Let records into a log file again", enable_help),
                        &add(app, "disable", "Drop every record for a log file", disable_help),
                        &add(app, "clear", "Delete a log file with all its entries", clear_help)}) {
    sub->add_option("file", wanted.file_type, "Log file: its name or its file type, or 'all'")
        ->required()
        ->type_name("FILE|all")
        ->transform(file_type_up_to(highest_file_type, {{"all", "0"}}));
  }
}

void add_config(CLI::App &app, options &wanted, typed &words) {
  CLI::App &sub = add(app, "config", "Send a module its configuration", config_help);
  auto *slot =
      add_number(sub, "--slot", wanted.slot, "The module's card slot, 0 to 255", 0, UINT8_MAX);
  auto *enable =
      sub.add_option("--enable", words.enable, "The files to log; every other one is disabled")
          ->delimiter(',')
          ->type_name("FILE,...|all|none")
          ->transform(file_type_up_to(highest_file_type, {{"all", "all"}, {"none", "none"}}));
  auto *raw = sub.add_option("--raw", wanted.config.raw, "Send a prepared payload from this file")
                  ->type_name("PATH");
  slot->needs(enable);
  enable->needs(slot);
  raw->excludes(slot)->excludes(enable);
}

void add_recover(CLI::App &app, options &wanted) {
  CLI::App &sub = add(app, "recover", "Have the daemon repair a log file now", recover_help);
  sub.add_option("file", wanted.file_type, "Log file: its name or its file type")
      ->required()
      ->type_name("FILE")
      ->transform(file_type_up_to(highest_file_type));
  sub.add_flag("--entries", wanted.recover.entries,
               "Trust the global header and repair the entries; without, rebuild the header");
  sub.add_flag("--no-copy", wanted.recover.no_copy, "Do not keep a copy of the file as it is now");
}

void add_fail_notice(CLI::App &app, options &wanted) {
  CLI::App &sub =
      add(app, "fail-notice", "Tell the daemon that a card's flash has failed", fail_notice_help);
  sub.add_option("--slot", wanted.slot, "Slot of the card; the daemon heeds only its own")
      ->required()
      ->type_name("N");
  sub.add_option("--kind", wanted.failure_kind,
                 "Kind of failure; the daemon heeds only 3, the flash")
      ->capture_default_str()
      ->type_name("N");
}

void add_debug(CLI::App &app, typed &words) {
  CLI::App &sub =
      add(app, "debug", "Choose what the daemon prints and records, and show what is in force",
          debug_help);
  sub.add_option("--print", words.print, "What it prints: 'trace' includes errors")
      ->type_name("none|error|trace")
      ->check(one_of(level_words));
  sub.add_option("--record", words.record, "What it keeps in its event history")
      ->type_name("none|error|trace")
      ->check(one_of(level_words));
}

void add_history(CLI::App &app, options &wanted) {
  CLI::App &sub =
      add(app, "history", "Show the daemon's event history, oldest first", history_help);
  add_number(sub, "-n", wanted.newest, "Only the newest N events", 1, UINT32_MAX);
}

void add_monitor(CLI::App &app, options &wanted) {
  CLI::App &sub = add(app, "monitor",
                      "Show what the daemon tells everybody: that it is up, and exception reports",
                      monitor_help);
  add_number(sub, "--count", wanted.monitor.count, "End after this many messages", 1, UINT32_MAX);
  add_number(sub, "--timeout", wanted.monitor.seconds, "End after this many seconds", 0.001, 86400)
      ->type_name("SECONDS");
}

void add_status(CLI::App &app, options &wanted) {
  add(app, "status", "Show how the daemon and its flash are", status_help)
      .add_flag("--json", wanted.json,
                "Print an object in place of the lines; what is not known is absent");
}

void add_directory(CLI::App &sub, options &wanted) {
  sub.add_option("-D,--directory", wanted.directory, "Where the log files are")
      ->capture_default_str()
      ->type_name("DIR");
}

void add_snapshot(CLI::App &app, options &wanted) {
  CLI::App &sub = add(app, "snapshot",
                      "Copy all log files to a directory, each in one piece, while the daemon runs",
                      snapshot_help);
  sub.add_option("directory", wanted.target, "Where to: a new directory, or an empty one")
      ->required()
      ->type_name("DIR");
  add_directory(sub, wanted);
}

void add_metrics(CLI::App &app, options &wanted) {
  CLI::App &sub = add(app, "metrics",
                      "Print the state of the log files and of the daemon for a monitoring system",
                      metrics_help);
  add_directory(sub, wanted);
  sub.add_option("--output", wanted.output,
                 "Write to this file in place of standard output, so that a reader meets it whole")
      ->type_name("FILE");
}

void add_common(CLI::App &app, options &wanted) {
  app.set_version_flag("--version", "veskctl " VESK_VERSION_TEXT);
  app.add_option("--run-dir", wanted.run_dir,
                 "Directory of the daemon's sockets (default: VESK_RUN_DIR, or /run/vesk)")
      ->type_name("DIR");
  add_number(app, "--timeout", wanted.timeout, "Seconds to wait for the daemon, for each request",
             0.001, 86400)
      ->capture_default_str()
      ->type_name("SECONDS");
  app.footer(program_help);
  app.require_subcommand(1);
  app.fallthrough();  // the options above may also stand behind the subcommand
}

// --- what was typed becomes part of the options ---

void settle_files(const typed &words, options &wanted) {
  if (wanted.config.raw.empty() && words.enable.empty()) {
    throw CLI::RequiredError("--slot and --enable, or --raw");
  }
  for (const std::string &word : words.enable) {
    const bool set = word == "all" || word == "none";
    if (set && words.enable.size() > 1) {
      throw CLI::ValidationError("--enable", "'" + word + "' stands for a whole set: use it alone");
    }
    if (word == "all") wanted.config.all_files = true;
    if (!set) wanted.config.files.push_back(static_cast<uint32_t>(std::stoul(word)));
  }
}

void settle(const typed &words, options &wanted) {
  if (wanted.subcommand == "config") settle_files(words, wanted);
  wanted.send.sync = number_of(sync_words, words.sync);
  wanted.send.time = time_of(words.time);
  wanted.send.text = CLI::detail::join(words.text, " ");
  if (!words.print.empty()) wanted.debug.print = number_of(level_words, words.print);
  if (!words.record.empty()) wanted.debug.record = number_of(level_words, words.record);
}

std::string reason_of(const CLI::App &app, const CLI::ParseError &error) {
  const auto left_over = app.remaining();
  return app.get_subcommands().empty() && !left_over.empty()
             ? "'" + left_over.front() + "' is not a subcommand"
             : error.what();
}

}  // namespace

std::optional<int> parse_command_line(int argc, char **argv, options &wanted) {
  typed words;
  CLI::App app("Talk to a running Persistent Logger.", "veskctl");
  add_common(app, wanted);
  add_send(app, wanted, words);
  add_stats(app, wanted);
  add_commands(app, wanted);
  add_config(app, wanted, words);
  add_recover(app, wanted);
  add_fail_notice(app, wanted);
  add_debug(app, words);
  add_history(app, wanted);
  add_monitor(app, wanted);
  add_status(app, wanted);
  add_snapshot(app, wanted);
  add_metrics(app, wanted);
  try {
    app.parse(argc, argv);
    wanted.subcommand = app.get_subcommands().front()->get_name();
    settle(words, wanted);
  } catch (const CLI::Success &asked) {
    return app.exit(asked);
  } catch (const CLI::ParseError &error) {
    complain(reason_of(app, error) + " (--help tells more)");
    return 2;
  }
  return {};
}

}  // namespace vesk::veskctl
