#include "tools/veskshow/options.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <functional>
#include <map>
#include <set>

#include "tools/shared/text.h"
#include "tools/veskshow/output.h"

namespace vesk::veskshow {

namespace {

constexpr char description[] =
    "Shows what log files hold: the entries of all files together, the oldest first. It never\n"
    "writes to them.\n";

constexpr char epilogue[] =
    R"(TIME is "2026-01-31 12:00:00", also with a fraction, without the seconds, the time of day or the
date, and with "UTC" or "+02:00" behind it; "now", "today", "yesterday", "tomorrow"; "1h 30min ago",
"-90min", "+2days", with units from us to years; or "@1769860800", seconds since 1970.
A line has the time, the log file, the sender's uuid and, in brackets, the object type: the numbers
that -u and -t take, or their names. Entries of one file keep the order in which they were stored.
Data that are text are shown without their zero padding, control characters as \n, \e, \x07; other
data as their length and first bytes. Files may be read while they are written to.
--verify: a first start is the first one after a boot; a daemon that is only restarted repairs
nothing. --salvage: entries are, from the surest on, in the "chain" that the file still leads to,
"sure", "likely", "rewritten" by a repair, or "doubtful".
On a terminal the output goes through $VESK_PAGER, else $PAGER, else less.

Examples:
  veskshow -S "1 hour ago"             what happened in the last hour
  veskshow -u 677                      what sender 677 said
  veskshow -g 'fan|fail' -n 20         the last 20 entries that speak of a fan or a failure
  veskshow -f -n 20 kernel             the last 20 entries of kernel.log, and those to come
  veskshow -D /tmp/copies --list       copies of the files, on any machine: which there are
  veskshow --verify ./exception.log    is this copy damaged, where and why
  veskshow --salvage ./exception.log   what can be saved from it
  veskshow --stats                     how long entries live, and who writes most of them
  veskshow --preserve /var/lib/copies  copies of what the daemon is about to repair or remove

Exit status:
  0  everything is fine
  1  a file is damaged or cannot be read, or nothing matched; what can be shown was shown
  2  the command line is wrong)";

const std::map<std::string, output_format> formats = {
    {"short", output_format::short_full},
    {"short-iso", output_format::short_iso},
    {"short-unix", output_format::short_unix},
    {"verbose", output_format::verbose},
    {"json", output_format::json},
    {"json-pretty", output_format::json_pretty},
    {"export", output_format::journal_export},
    {"cat", output_format::cat},
    {"hex", output_format::hex},
    {"raw", output_format::raw},
};

const std::map<std::string, when> whens = {
    {"auto", when::automatic}, {"always", when::always}, {"never", when::never}};

// Why what was typed will not do, or nothing.
using check = std::function<std::string(const std::string &)>;

// One of the names; the help says by itself which there are.
template <typename T>
check one_of(const std::map<std::string, T> &names) {
  return [&names](const std::string &typed) {
    std::string known;
    for (const auto &[name, value] : names) {
      if (typed == name) return std::string();
      known.append(known.empty() ? "" : ", ").append(name);
    }
    return "'" + typed + "' is none of " + known;
  };
}

std::string not_empty(const std::string &typed) {
  return typed.empty() ? "is empty" : "";
}

check is_number(size_t least, size_t most, const std::string &meaning) {
  return [=](const std::string &typed) {
    const auto number = shared::number_in<size_t>(typed);
    const bool fits = number && *number >= least && *number <= most;
    return fits ? std::string() : "'" + typed + "' is no number of " + meaning;
  };
}

template <typename T>
void add_word(CLI::App &app, const char *names, const std::map<std::string, T> &known, T &ret_value,
              const char *meaning, const char *help) {
  app.add_option_function<std::string>(
         names, [&](const std::string &typed) { ret_value = known.at(typed); }, help)
      ->type_name(meaning)
      ->check(one_of(known));
}

void add_text(CLI::App &app, const char *names, std::string &ret_value, const char *meaning,
              const char *help) {
  app.add_option(names, ret_value, help)->type_name(meaning)->check(not_empty);
}

void add_texts(CLI::App &app, const char *names, std::vector<std::string> &ret_values,
               const char *meaning, const char *help) {
  app.add_option(names, ret_values, help)
      ->type_name(meaning)
      ->expected(1)
      ->allow_extra_args(false)
      ->take_all();
}

void add_number(CLI::App &app, const char *names, std::optional<size_t> &ret_value,
                const char *meaning, const check &fits, const char *help) {
  app.add_option_function<std::string>(
         names, [&](const std::string &typed) { ret_value = shared::number_in<size_t>(typed); },
         help)
      ->type_name(meaning)
      ->check(fits);
}

void add_what(CLI::App &app, options &ret_wanted) {
  app.add_option("FILE|NAME|TYPE", ret_wanted.arguments,
                 "Files, not all of /mnt/vesk: by path, by name as in\n"
                 "the list, or by file type")
      ->type_name("")
      ->take_all();
  add_text(app, "-D,--directory", ret_wanted.directory, "DIR",
           "Where the files are, not in /mnt/vesk");
}

void add_choice(CLI::App &app, options &ret_wanted) {
  app.option_defaults()->group("Which entries");
  add_text(app, "-S,--since", ret_wanted.since, "TIME", "Not older than this");
  add_text(app, "-U,--until", ret_wanted.until, "TIME", "Not newer than this");
  add_texts(app, "-u,--uuid", ret_wanted.uuids, "UUID",
            "Of this sender; may be given several times");
  add_texts(app, "-t,--type", ret_wanted.types, "TYPE",
            "Of this object type; may be given several times");
  app.add_option("-g,--grep", ret_wanted.pattern,
                 "Whose text matches this regular expression; case\n"
                 "matters only where it has a capital letter")
      ->type_name("PATTERN");
  add_number(app, "-n,--lines", ret_wanted.last, "N", is_number(0, SIZE_MAX, "entries"),
             "The newest N of them at most");
  app.add_flag("-r,--reverse", ret_wanted.reverse, "The newest first");
  app.add_flag("-f,--follow", ret_wanted.follow,
               "The last 10, or as -n or -S says, and then what is\n"
               "added until Ctrl-C");
}

void add_form(CLI::App &app, options &ret_wanted) {
  app.option_defaults()->group("How they are shown");
  add_word(app, "-o,--output", formats, ret_wanted.format, "FORMAT",
           "short, short-iso, short-unix, verbose, json,\n"
           "json-pretty, export, cat, hex or raw");
  app.add_flag_callback(
      "--utc", [&] { ret_wanted.zone = shared::time_zone::utc; },
      "Times in UTC instead of the local time zone");
  add_text(app, "--names", ret_wanted.names_file, "FILE",
           "Names for senders and types, lines of \"uuid|type NUMBER NAME\"");
  add_word(app, "--color", whens, ret_wanted.color, "WHEN", "auto, always or never");
  app.add_flag_callback(
      "--no-pager", [&] { ret_wanted.pager = false; }, "Straight to the terminal");
  app.add_flag("-q,--quiet", ret_wanted.quiet, "Without notes, such as that there are no entries");
}

void add_jobs(CLI::App &app, options &ret_wanted, std::set<job> &ret_jobs) {
  app.option_defaults()->group("Something else than entries");
  const auto add_flag = [&](const char *name, job what, const char *help) {
    app.add_flag_callback(
        name, [&ret_jobs, what] { ret_jobs.insert(what); }, help);
  };
  add_flag("--list", job::list, "The files: fill, ages, and whether they are sound");
  add_flag("--header", job::header, "What the files' global headers say");
  add_flag("--verify", job::verify,
           "Damage, and what the daemon's next first start would do with each file");
  add_flag("--map", job::map, "A picture of each ring");
  add_flag("--salvage", job::salvage,
           "Every entry that can still be had from damaged files,\n"
           "removed files' bytes or flash images");
  add_flag("--stats", job::stats, "Entries, bytes and rates by sender, and how long entries live");
  add_text(app, "--preserve", ret_wanted.preserve_directory, "DIR",
           "Copy what the daemon's next first start would change or\n"
           "remove to this directory, before it does");
  constexpr size_t one_tib = size_t{1} << 20;
  add_number(app, "--preserve-limit", ret_wanted.preserve_limit, "MIB",
             is_number(1, one_tib, "MiB, 1 to 1048576"),
             "How much all copies there may take; the oldest go first\n"
             "(default: 64)");
}

void settle_job(const std::set<job> &jobs, options &ret_wanted) {
  if (jobs.size() > 1) {
    throw CLI::ValidationError(
        "only one of --list, --header, --verify, --map, --salvage, --stats and --preserve at a "
        "time");
  }
  if (!jobs.empty()) ret_wanted.what = *jobs.begin();
  if (ret_wanted.preserve_limit && ret_wanted.what != job::preserve) {
    throw CLI::RequiresError("--preserve-limit", "--preserve");
  }
}

// Options that would do nothing are refused: somebody expects something of them.
void check_that_options_fit(const options &wanted, bool format_given) {
  const bool shows_entries = wanted.what == job::entries || wanted.what == job::salvage;
  if (!shows_entries && format_given) {
    throw CLI::ValidationError("--output is for entries, which are not shown here");
  }
  if (!shows_entries && wanted.what != job::stats && has_filter(wanted)) {
    throw CLI::ValidationError(
        "--since, --until, --uuid, --type and --grep choose among entries, "
        "which are not shown here");
  }
  if (wanted.what != job::entries && (wanted.last || wanted.reverse || wanted.follow)) {
    throw CLI::ValidationError("--lines, --reverse and --follow are for the entries of the rings");
  }
  if (wanted.what == job::preserve && !wanted.arguments.empty()) {
    throw CLI::ValidationError(
        "--preserve looks at all log files of the directory, so it takes no names");
  }
  if (wanted.follow && wanted.reverse) throw CLI::ExcludesError("--follow", "--reverse");
  if (wanted.follow && !wanted.until.empty()) throw CLI::ExcludesError("--follow", "--until");
}

// In our words where CLI11's are hard to read.
std::string reason_of(const CLI::ParseError &error) {
  const std::string reason = error.what();
  if (error.get_name() != "ArgumentMismatch") return reason;
  return reason.substr(0, reason.find(':')) + " needs a value";
}

// Without the empty lines that CLI11 puts around its groups.
std::string help_text(const CLI::App &app) {
  std::string text = app.help();
  for (size_t gap = 0; (gap = text.find("\n\n\n", gap)) != std::string::npos;) text.erase(gap, 1);
  return text;
}

}  // namespace

bool has_filter(const options &wanted) {
  return !wanted.since.empty() || !wanted.until.empty() || !wanted.uuids.empty() ||
         !wanted.types.empty() || wanted.pattern_given;
}

std::optional<int> parse_command_line(int argc, char **argv, options &ret_wanted) {
  std::set<job> jobs;
  CLI::App app(description, "veskshow");
  app.footer(epilogue);
  app.get_formatter()->label("Positionals", "What to show");
  app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app.set_help_flag("-h,--help", "Show this help");
  app.set_version_flag("--version", "veskshow " VESK_VERSION_TEXT, "Show the version");
  add_what(app, ret_wanted);
  add_choice(app, ret_wanted);
  add_form(app, ret_wanted);
  add_jobs(app, ret_wanted, jobs);
  try {
    app.parse(argc, argv);
    ret_wanted.directory_given = app.count("--directory") > 0;
    ret_wanted.pattern_given = app.count("--grep") > 0;
    if (app.count("--preserve") > 0) jobs.insert(job::preserve);
    settle_job(jobs, ret_wanted);
    check_that_options_fit(ret_wanted, app.count("--output") > 0);
  } catch (const CLI::CallForHelp &) {
    std::fputs(help_text(app).c_str(), stdout);
    return exit_fine;
  } catch (const CLI::Success &asked) {
    return app.exit(asked);
  } catch (const CLI::ParseError &error) {
    return usage_error(reason_of(error));
  }
  return {};
}

}  // namespace vesk::veskshow
