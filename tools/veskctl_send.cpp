// veskctl send: records from the command line or from standard input.
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "store/vesk_format.h"
#include "tools/veskctl_lines.h"
#include "tools/veskctl_support.h"

namespace vesk::ctl {
namespace {

using std::chrono::steady_clock;

struct send_options {
  uint32_t file_type = 0;
  uint32_t uuid = 0;
  uint32_t type = VESK_MIN_OBJECT_TYPE;
  uint32_t flags = 0;
  std::string sync = "answer";
  bool update = false;
  uint32_t instance = 0;
  std::vector<std::string> text;
};

struct tally {
  uint64_t accepted = 0;  // or sent, when no answer is wanted
  uint64_t refused = 0;
  uint64_t unanswered = 0;
  uint64_t skipped = 0;  // empty lines

  uint64_t lines() const { return accepted + refused + unanswered + skipped; }
};

// One run of the subcommand.
struct sender {
  vesk_client &client;
  vesk_client_record record;
  tally count{};
  uint64_t last_stamp = 0;  // in microseconds
  bool stopped = false;     // the daemon is out of reach
  bool complained = false;
  bool terminal = isatty(STDERR_FILENO) == 1;
  steady_clock::time_point next_progress{};
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

void clear_progress(const sender &s) {
  if (s.terminal) std::fputs("\r\033[K", stderr);
}

void show_progress(sender &s) {
  const auto now = steady_clock::now();
  if (!s.terminal || now < s.next_progress) return;
  s.next_progress = now + std::chrono::milliseconds(200);
  std::fprintf(stderr, "\r\033[K%" PRIu64 " records, %" PRIu64 " refused, %" PRIu64 " unanswered",
               s.count.lines(), s.count.refused, s.count.unanswered);
}

// Of many records that fail for the same reason, the first is worth a line.
void complain_once(sender &s, const std::string &what, vesk_client_code code) {
  if (s.complained) return;
  s.complained = true;
  const std::string line = what + ": " + advice(s.client, code);  // while errno still tells
  clear_progress(s);
  complain(line);
}

// The time now; no two records of a run get the same, so that their order can be told.
void stamp(sender &s) {
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

void send_one(sender &s, const std::string &text, const std::string &name) {
  stamp(s);
  s.record.data = text.data();
  s.record.length = text.size();
  note(s, vesk_client_log(&s.client, &s.record), name);
}

// Returns false when standard input could not be read to its end.
bool send_lines(sender &s) {
  std::string line;
  for (uint64_t number = 1; !s.stopped; ++number) {
    const line_read found = read_line(stdin, UINT16_MAX, line);
    if (found == line_read::end) break;
    const std::string name = "line " + std::to_string(number);
    if (found == line_read::too_long) {
      note(s, VESK_CLIENT_TOO_LONG, name);
    } else if (line.empty()) {
      ++s.count.skipped;
    } else {
      send_one(s, line, name);
    }
    show_progress(s);
  }
  clear_progress(s);
  if (std::ferror(stdin) == 0) return true;
  complain("standard input cannot be read: " + std::string(std::strerror(errno)));
  return false;
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

int run(const context &ctx, const send_options &options) {
  const client_ptr client = open_client(ctx);
  if (!client) return 1;
  sender s{.client = *client, .record = {}};
  s.record.file_type = options.file_type;
  s.record.uuid = options.uuid;
  s.record.type = options.type;
  s.record.flags = static_cast<uint8_t>(options.flags);
  s.record.sync = sync_of(options.sync);
  s.record.update = options.update ? VESK_UPDATE_ENTRY : 0;
  s.record.instance = options.instance;

  bool read_whole = true;
  if (options.text.empty()) {
    read_whole = send_lines(s);
  } else {
    send_one(s, CLI::detail::join(options.text, " "), "the record");
  }
  print_tally(s);
  const bool all_well = s.count.refused == 0 && s.count.unanswered == 0 && !s.stopped;
  return all_well && read_whole ? 0 : 1;
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
  sub->add_option("text", options->text, "The record's data; several words are joined by blanks")
      ->type_name("TEXT")
      ->check([](const std::string &word) {
        return word.empty() ? std::string("a record must have data") : std::string();
      });
  sub->footer(
      "The last line counts the records accepted, refused and unanswered (\"sent\" with\n"
      "--sync none). Lines of more than 65535 bytes are refused, empty ones skipped.\n"
      "When the daemon is out of reach, sending stops at that line.\n\n"
      "Examples:\n"
      "  veskctl send --file platform --uuid 551 fan tray 2 removed\n"
      "  dmesg | veskctl send --file kernel.log --uuid 510\n"
      "  veskctl send --file 5 --uuid 25 --sync flash -- --a text that begins with a dash");
  sub->callback([&ctx, options] { ctx.status = run(ctx, *options); });
}

}  // namespace vesk::ctl
