#include "tools/veskshow/options.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdio>
#include <map>

#include "tools/shared/preserve.h"
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

// One of the names; the help says by itself which there are.
template <typename T>
CLI::Validator one_of(const std::map<std::string, T> &names) {
  return CLI::Validator(
      [&names](const std::string &typed) {
        std::string known;
        for (const auto &[name, value] : names) {
          if (typed == name) return std::string();
          known.append(known.empty() ? "" : ", ").append(name);
        }
        return "'" + typed + "' is none of " + known;
      },
      "");
}

CLI::Validator not_empty() {
  return CLI::Validator(
      [](const std::string &typed) { return typed.empty() ? "is empty" : std::string(); }, "");
}

std::optional<size_t> as_count(const std::string &typed) {
  size_t count = 0;
  const char *end = typed.data() + typed.size();
  const auto parsed = std::from_chars(typed.data(), end, count);
  if (parsed.ec != std::errc() || parsed.ptr != end) return {};
  return count;
}

CLI::Validator is_count() {
  return CLI::Validator(
      [](const std::string &typed) {
        return as_count(typed) ? std::string() : "'" + typed + "' is no number of entries";
      },
      "");
}

// Up to a TiB.
CLI::Validator is_limit() {
  return CLI::Validator(
      [](const std::string &typed) {
        const auto limit = as_count(typed);
        return limit && *limit > 0 && *limit <= size_t{1} << 20
                   ? std::string()
                   : "'" + typed + "' is no number of MiB, 1 to 1048576";
      },
      "");
}

// What was typed, before it becomes part of the options.
struct typed {
  std::string lines;
  std::string preserve_limit;
  std::string format = "short";
  std::string color = "auto";
  bool utc = false;
  bool no_pager = false;
  std::map<job, bool> jobs;
};

void add_what(CLI::App &app, options &wanted) {
  app.add_option("FILE|NAME|TYPE", wanted.arguments,
                 "Files, not all of /mnt/vesk: by path, by name as in\n"
                 "the list, or by file type")
      ->type_name("")
      ->take_all();
  app.add_option("-D,--directory", wanted.directory, "Where the files are, not in /mnt/vesk")
      ->type_name("DIR")
      ->check(not_empty())
      ->each([&wanted](const std::string &) { wanted.directory_given = true; });
}

void add_choice(CLI::App &app, options &wanted, typed &words) {
  constexpr char group[] = "Which entries";
  app.add_option("-S,--since", wanted.since, "Not older than this")
      ->type_name("TIME")
      ->check(not_empty())
      ->group(group);
  app.add_option("-U,--until", wanted.until, "Not newer than this")
      ->type_name("TIME")
      ->check(not_empty())
      ->group(group);
  app.add_option("-u,--uuid", wanted.uuids, "Of this sender; may be given several times")
      ->type_name("UUID")
      ->expected(1)
      ->allow_extra_args(false)
      ->take_all()
      ->group(group);
  app.add_option("-t,--type", wanted.types, "Of this object type; may be given several times")
      ->type_name("TYPE")
      ->expected(1)
      ->allow_extra_args(false)
      ->take_all()
      ->group(group);
  app.add_option("-g,--grep", wanted.pattern,
                 "Whose text matches this regular expression; case\n"
                 "matters only where it has a capital letter")
      ->type_name("PATTERN")
      ->each([&wanted](const std::string &) { wanted.pattern_given = true; })
      ->group(group);
  app.add_option("-n,--lines", words.lines, "The newest N of them at most")
      ->type_name("N")
      ->check(is_count())
      ->group(group);
  app.add_flag("-r,--reverse", wanted.reverse, "The newest first")->group(group);
  app.add_flag("-f,--follow", wanted.follow,
               "The last 10, or as -n or -S says, and then what is\n"
               "added until Ctrl-C")
      ->group(group);
}

void add_form(CLI::App &app, options &wanted, typed &words) {
  constexpr char group[] = "How they are shown";
  app.add_option("-o,--output", words.format,
                 "short, short-iso, short-unix, verbose, json,\n"
                 "json-pretty, export, cat, hex or raw")
      ->type_name("FORMAT")
      ->check(one_of(formats))
      ->group(group);
  app.add_flag("--utc", words.utc, "Times in UTC instead of the local time zone")->group(group);
  app.add_option("--names", wanted.names_file,
                 "Names for senders and types, lines of \"uuid|type NUMBER NAME\"")
      ->type_name("FILE")
      ->check(not_empty())
      ->group(group);
  app.add_option("--color", words.color, "auto, always or never")
      ->type_name("WHEN")
      ->check(one_of(whens))
      ->group(group);
  app.add_flag("--no-pager", words.no_pager, "Straight to the terminal")->group(group);
  app.add_flag("-q,--quiet", wanted.quiet, "Without notes, such as that there are no entries")
      ->group(group);
}

void add_jobs(CLI::App &app, options &wanted, typed &words) {
  constexpr char group[] = "Something else than entries";
  app.add_flag("--list", words.jobs[job::list], "The files: fill, ages, and whether they are sound")
      ->group(group);
  app.add_flag("--header", words.jobs[job::header], "What the files' global headers say")
      ->group(group);
  app.add_flag("--verify", words.jobs[job::verify],
               "Damage, and what the daemon's next first start would do with each file")
      ->group(group);
  app.add_flag("--map", words.jobs[job::map], "A picture of each ring")->group(group);
  app.add_flag("--salvage", words.jobs[job::salvage],
               "Every entry that can still be had from damaged files,\n"
               "removed files' bytes or flash images")
      ->group(group);
  app.add_flag("--stats", words.jobs[job::stats],
               "Entries, bytes and rates by sender, and how long entries live")
      ->group(group);
  app.add_option("--preserve", wanted.preserve_directory,
                 "Copy what the daemon's next first start would change or\n"
                 "remove to this directory, before it does")
      ->type_name("DIR")
      ->check(not_empty())
      ->each([&words](const std::string &) { words.jobs[job::preserve] = true; })
      ->group(group);
  app.add_option("--preserve-limit", words.preserve_limit,
                 "How much all copies there may take; the oldest go first\n"
                 "(default: 64)")
      ->type_name("MIB")
      ->check(is_limit())
      ->group(group);
}

void settle_job(const typed &words, options &wanted) {
  for (const auto &[what, asked] : words.jobs) {
    if (!asked) continue;
    if (wanted.what != job::entries) {
      throw CLI::ValidationError(
          "only one of --list, --header, --verify, --map, --salvage, --stats and --preserve at a "
          "time");
    }
    wanted.what = what;
  }
}

void settle_limit(const typed &words, options &wanted) {
  wanted.preserve_limit = shared::preserve_limit_mib;
  if (words.preserve_limit.empty()) return;
  if (wanted.what != job::preserve) throw CLI::RequiresError("--preserve-limit", "--preserve");
  wanted.preserve_limit = static_cast<uint32_t>(*as_count(words.preserve_limit));
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

std::optional<int> parse_command_line(int argc, char **argv, options &wanted) {
  typed words;
  CLI::App app(description, "veskshow");
  app.footer(epilogue);
  app.get_formatter()->label("Positionals", "What to show");
  app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app.set_help_flag("-h,--help", "Show this help");
  app.set_version_flag("--version", "veskshow " VESK_VERSION_TEXT, "Show the version");
  add_what(app, wanted);
  add_choice(app, wanted, words);
  add_form(app, wanted, words);
  add_jobs(app, wanted, words);
  try {
    app.parse(argc, argv);
    settle_job(words, wanted);
    settle_limit(words, wanted);
    if (!words.lines.empty()) wanted.last = as_count(words.lines);
    check_that_options_fit(wanted, app.count("--output") > 0);
  } catch (const CLI::CallForHelp &) {
    std::fputs(help_text(app).c_str(), stdout);
    return exit_fine;
  } catch (const CLI::Success &asked) {
    return app.exit(asked);
  } catch (const CLI::ParseError &error) {
    return usage_error(reason_of(error));
  }
  wanted.format = formats.at(words.format);
  wanted.color = whens.at(words.color);
  wanted.zone = words.utc ? shared::time_zone::utc : shared::time_zone::local;
  wanted.pager = !words.no_pager;
  return {};
}

}  // namespace vesk::veskshow
