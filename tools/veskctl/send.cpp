// veskctl send: records from the command line or from standard input.
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <string>
#include <string_view>

#include "tools/shared/progress.h"
#include "tools/veskctl/daemon.h"
#include "tools/veskctl/output.h"
#include "tools/veskctl/subcommands.h"

namespace vesk::veskctl {
namespace {

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

// Of many records that fail for the same reason, the first is worth a line.
void complain_once(sender &s, const std::string &what, vesk_client_code code) {
  if (s.complained) return;
  s.complained = true;
  const std::string reason = failure_of(s.client, code).reason;  // before errno changes
  s.on_terminal.clear();
  complain(what + ": " + reason);
}

void set_time(vesk_client_record &record, uint64_t usecs) {
  record.secs = static_cast<uint32_t>(usecs / 1'000'000);
  record.usecs = static_cast<uint32_t>(usecs % 1'000'000);
}

// The time now, unless another one was asked for; no two records of a run get the same, so that
// their order is known.
void stamp(sender &s) {
  if (s.given_time) return;
  timeval now{};
  gettimeofday(&now, nullptr);
  const auto micros =
      static_cast<uint64_t>(now.tv_sec) * 1'000'000 + static_cast<uint64_t>(now.tv_usec);
  s.last_stamp = std::max(micros, s.last_stamp + 1);
  set_time(s.record, s.last_stamp);
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

enum class line_read { whole, too_long, end };

// Reads up to the next newline or the end of standard input and stores what was there, without the
// newline, in `line`; of a line too long for a record only the front, and the rest is gone.
line_read read_line(std::string &line) {
  line.clear();
  auto found = line_read::end;
  for (int c = getc_unlocked(stdin); c != EOF; c = getc_unlocked(stdin)) {
    if (found == line_read::end) found = line_read::whole;
    if (c == '\n') break;
    if (line.size() == VESK_MAX_RECORD) {
      found = line_read::too_long;
    } else {
      line += static_cast<char>(c);
    }
  }
  return found;
}

void send_whole(sender &s) {
  std::string input(VESK_MAX_RECORD + 1, '\0');
  input.resize(std::fread(input.data(), 1, input.size(), stdin));
  if (std::ferror(stdin) == 0) send_one(s, input, "the record");
}

void send_lines(sender &s) {
  std::string line;
  for (uint64_t number = 1; !s.stopped; ++number) {
    const line_read found = read_line(line);
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
}

// Fails when standard input cannot be read to its end.
failure send_all(sender &s, const options &wanted) {
  if (!wanted.send.text.empty()) {
    send_one(s, wanted.send.text, "the record");
    return {};
  }
  wanted.send.whole ? send_whole(s) : send_lines(s);
  if (std::ferror(stdin) == 0) return {};
  return {"standard input cannot be read: " + errno_text(errno)};
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

vesk_client_record record_of(const options &wanted) {
  const auto &given = wanted.send;
  vesk_client_record record{};
  record.file_type = wanted.file_type;
  record.uuid = given.uuid;
  record.type = given.type;
  record.flags = static_cast<uint8_t>(given.flags);
  record.sync = given.sync;
  record.update = given.update ? VESK_UPDATE_ENTRY : 0;
  record.allow_large = given.allow_large ? 1 : 0;
  record.instance = given.instance;
  set_time(record, given.time.value_or(0));
  return record;
}

}  // namespace

int send(const options &wanted) {
  const client_ptr client = open_client(wanted);
  if (!client) return 1;
  sender s{
      .client = *client, .record = record_of(wanted), .given_time = wanted.send.time.has_value()};
  const int read = status_of(send_all(s, wanted));
  print_tally(s);
  const bool all_well = s.count.refused == 0 && s.count.unanswered == 0 && !s.stopped;
  return all_well ? read : 1;
}

}  // namespace vesk::veskctl
