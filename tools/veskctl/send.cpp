// veskctl send: records from the command line or from standard input.
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <optional>

#include "format/vesk_format.h"
#include "tools/shared/progress.h"
#include "tools/veskctl/lines.h"
#include "tools/veskctl/support.h"

namespace vesk::veskctl {
namespace {

// The padded length must fit the 16 bits that an entry's header has for it.
constexpr size_t longest_record = 65532;

struct send_options {
  uint32_t file_type = 0;
  uint32_t uuid = 0;
  uint32_t type = VESK_MIN_OBJECT_TYPE;
  uint32_t flags = 0;
  std::string sync = "answer";
  bool update = false;
  uint32_t instance = 0;
  std::string time;  // empty: now
  bool allow_large = false;
  bool whole = false;
  std::vector<std::string> text;
};

struct tally {
  uint64_t accepted = 0;  // or sent, when no answer is wanted
  uint64_t refused = 0;
  uint64_t unanswered = 0;
  uint64_t skipped = 0;  // empty lines

  uint64_t records() const { return accepted + refused + unanswered; }
};

// One run of the subcommand.
struct sender {
  vesk_client &client;
  vesk_client_record record;
  tally count{};
  bool given_time;
  uint64_t last_stamp = 0;  // in microseconds
  bool stopped = false;     // the daemon is out of reach
  bool complained = false;
  shared::progress on_terminal{};
};

uint8_t sync_of(const std::string &typed) {
  if (typed == "none") return VESK_CLIENT_SYNC_NONE;
  return typed == "flash" ? VESK_CLIENT_SYNC_FLASH : VESK_CLIENT_SYNC_ANSWER;
}

// Whether the next record would fare no better than this one.
bool out_of_reach(vesk_client_code code) {
  switch (code) {
    case VESK_CLIENT_TIMED_OUT:
    case VESK_CLIENT_BUSY:
    case VESK_CLIENT_NO_DAEMON:
    case VESK_CLIENT_NO_PERMISSION:
    case VESK_CLIENT_SYSTEM:
      return true;
    default:
      return false;
  }
}

// Of many records that fail for the same reason, the first is worth a line.
void complain_once(sender &s, const std::string &what, vesk_client_code code) {
  if (s.complained) return;
  s.complained = true;
  const std::string line = what + ": " + advice(s.client, code);  // while errno still tells
  s.on_terminal.clear();
  complain(line);
}

// The time now, unless another one was asked for; no two records of a run get the same, so that
// their order can be told.
void stamp(sender &s) {
  if (s.given_time) return;
  timeval now{};
  gettimeofday(&now, nullptr);
  const auto micros =
      static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_usec);
  s.last_stamp = std::max(micros, s.last_stamp + 1);
  s.record.secs = static_cast<uint32_t>(s.last_stamp / 1000000);
  s.record.usecs = static_cast<uint32_t>(s.last_stamp % 1000000);
}

// Counts what became of a record; `name` is how to call it.
void note(sender &s, vesk_client_code code, const std::string &name) {
  if (code == VESK_CLIENT_OK) {
    ++s.count.accepted;
  } else if (out_of_reach(code)) {
    s.stopped = true;
    s.complained = false;
    if (code == VESK_CLIENT_TIMED_OUT) ++s.count.unanswered;
    complain_once(s, "stopped at " + name, code);
  } else if (code == VESK_CLIENT_UNANSWERED || code == VESK_CLIENT_BAD_ANSWER) {
    ++s.count.unanswered;
    complain_once(s, name + " was not answered", code);
  } else {
    ++s.count.refused;
    complain_once(s, name + " was refused", code);
  }
}

void send_one(sender &s, std::string_view text, const std::string &name) {
  stamp(s);
  s.record.data = text.data();
  s.record.length = text.size();
  note(s, vesk_client_log(&s.client, &s.record), name);
}

// Whether standard input could be read to its end; a line on stderr says otherwise.
bool read_well() {
  if (std::ferror(stdin) == 0) return true;
  complain("standard input cannot be read: " + std::string(std::strerror(errno)));
  return false;
}

// Returns false when standard input could not be read to its end.
bool send_whole(sender &s) {
  std::string input(longest_record + 1, '\0');
  input.resize(std::fread(input.data(), 1, input.size(), stdin));
  if (!read_well()) return false;
  send_one(s, input, "the record");
  return true;
}

// Returns false when standard input could not be read to its end.
bool send_lines(sender &s) {
  std::string line;
  for (uint64_t number = 1; !s.stopped; ++number) {
    const line_read found = read_line(stdin, longest_record, line);
    if (found == line_read::end) break;
    const std::string name = "line " + std::to_string(number);
    if (found == line_read::too_long) {
      note(s, VESK_CLIENT_TOO_LONG, name);
    } else if (line.empty()) {
      ++s.count.skipped;
    } else {
      send_one(s, line, name);
    }
    s.on_terminal.show({s.count.records(), s.count.refused, s.count.unanswered});
  }
  s.on_terminal.clear();
  return read_well();
}

void print_tally(const sender &s) {
  if (s.record.sync == VESK_CLIENT_SYNC_NONE) {
    std::printf("%" PRIu64 " sent, %" PRIu64 " refused", s.count.accepted, s.count.refused);
  } else {
    std::printf("%" PRIu64 " accepted, %" PRIu64 " refused, %" PRIu64 " unanswered",
                s.count.accepted, s.count.refused, s.count.unanswered);
  }
  if (s.count.skipped > 0) std::printf(", %" PRIu64 " skipped (empty)", s.count.skipped);
  std::printf("\n");
}

struct time_stamp {
  uint32_t secs;
  uint32_t usecs;
};

bool take_number(std::string_view digits, uint32_t &value) {
  const char *end = digits.data() + digits.size();
  const auto parsed = std::from_chars(digits.data(), end, value);
  return parsed.ec == std::errc() && parsed.ptr == end;
}

// Takes "SECS" or "SECS.MICROS" apart, the latter with up to six digits; nothing for anything else.
// 0 is no time, since a record without one gets the time at which it is sent.
std::optional<time_stamp> take_time(std::string_view typed) {
  time_stamp time{};
  const size_t point = typed.find('.');
  if (!take_number(typed.substr(0, point), time.secs)) return {};
  if (point != std::string_view::npos) {
    std::string fraction(typed.substr(point + 1));
    if (fraction.empty() || fraction.size() > 6) return {};
    fraction.resize(6, '0');
    if (!take_number(fraction, time.usecs)) return {};
  }
  if (time.secs == 0 && time.usecs == 0) return {};
  return time;
}

std::string check_time(const std::string &typed) {
  return take_time(typed) ? "" : "'" + typed + "' is no time of the form SECS[.MICROS]";
}

vesk_client_record record_of(const send_options &options) {
  vesk_client_record record{};
  record.file_type = options.file_type;
  record.uuid = options.uuid;
  record.type = options.type;
  record.flags = static_cast<uint8_t>(options.flags);
  record.sync = sync_of(options.sync);
  record.update = options.update ? VESK_UPDATE_ENTRY : 0;
  record.allow_large = options.allow_large ? 1 : 0;
  record.instance = options.instance;
  if (const auto time = take_time(options.time)) {
    record.secs = time->secs;
    record.usecs = time->usecs;
  }
  return record;
}

// Returns false when standard input could not be read to its end.
bool send_input(sender &s, const send_options &options) {
  if (options.whole) return send_whole(s);
  if (options.text.empty()) return send_lines(s);
  send_one(s, CLI::detail::join(options.text, " "), "the record");
  return true;
}

int run(const context &ctx, const send_options &options) {
  const client_ptr client = open_client(ctx);
  if (!client) return 1;
  sender s{.client = *client, .record = record_of(options), .given_time = !options.time.empty()};
  const bool read_to_end = send_input(s, options);
  print_tally(s);
  const bool all_well = s.count.refused == 0 && s.count.unanswered == 0 && !s.stopped;
  return all_well && read_to_end ? 0 : 1;
}

}  // namespace

void add_send(CLI::App &app, context &ctx) {
  auto *sub = app.add_subcommand(
      "send", "Send log records: the text given, or one record a line of standard input");
  auto options = std::make_shared<send_options>();
  sub->add_option("--file", options->file_type, "Log file: its name or its file type, 1 to 38")
      ->required()
      ->type_name("FILE")
      ->transform(file_type_up_to(VESK_MAX_REQ_FILE_TYPE));
  sub->add_option("--uuid", options->uuid, "Service uuid of the sender, 1 to 2736")
      ->required()
      ->type_name("N")
      ->check(within(uint32_t{1}, uint32_t{VESK_MAX_UUID}));
  sub->add_option("--type", options->type, "Object type of the records, 1024 to 65535")
      ->capture_default_str()
      ->type_name("N")
      ->check(within(uint32_t{VESK_MIN_OBJECT_TYPE}, uint32_t{UINT16_MAX}));
  sub->add_option("--flags", options->flags, "Flags kept with each entry, 0 to 255")
      ->capture_default_str()
      ->type_name("N")
      ->check(within(uint32_t{0}, uint32_t{UINT8_MAX}));
  sub->add_option("--sync", options->sync,
                  "Wait for nothing, for the daemon's answer, or for the flash as well")
      ->capture_default_str()
      ->type_name("none|answer|flash")
      ->check(one_of({"none", "answer", "flash"}));
  sub->add_flag("--update", options->update, "Replace a matching entry where there is one");
  sub->add_option("--instance", options->instance,
                  "Which matching entry --update replaces: 0 the last, N the N-th")
      ->capture_default_str()
      ->type_name("N");
  sub->add_option("--time", options->time,
                  "Time stamp of every record, in seconds since 1970; without, the time now")
      ->type_name("SECS[.MICROS]")
      ->check(check_time);
  sub->add_flag("--allow-large", options->allow_large,
                "Send records of more than half their file's capacity as well");
  auto *whole = sub->add_flag("--whole", options->whole,
                              "Send all of standard input as one record, its bytes as they are");
  auto *text = sub->add_option("text", options->text,
                               "The record's data; several words are joined by blanks")
                   ->type_name("TEXT")
                   ->check([](const std::string &word) {
                     return word.empty() ? std::string("a record must have data") : std::string();
                   });
  whole->excludes(text);
  sub->footer(
      "The last line counts the records accepted, refused and unanswered (\"sent\" with\n"
      "--sync none). Lines of more than 65532 bytes are refused, empty ones skipped.\n"
      "When the daemon is out of reach, sending stops at that line. On a terminal, a line tells "
      "how\n"
      "far a long run has come.\n"
      "A record of more than half its file's capacity is refused unless --allow-large is given.\n\n"
      "Examples:\n"
      "  veskctl send --file platform --uuid 551 fan tray 2 removed\n"
      "  dmesg | veskctl send --file kernel.log --uuid 510\n"
      "  veskctl send --file 2 --uuid 677 --type 2001 --whole <registers.bin\n"
      "  veskctl send --file 5 --uuid 25 --time 1767225600.5 happened at new year\n"
      "  veskctl send --file 5 --uuid 25 --sync flash -- --a text that begins with a dash");
  sub->callback([&ctx, options] { ctx.status = run(ctx, *options); });
}

}  // namespace vesk::veskctl
