// What stands at the end of each help text.
#pragma once

namespace vesk::veskctl {

inline constexpr char program_help[] =
    R"(Exit status: 0 done, 1 refused or failed, 2 wrong usage.

Examples:
  dmesg | veskctl send --file kernel --uuid 510
  veskctl status
  veskctl clear temperature_err
  veskctl send --help)";

inline constexpr char send_help[] =
    R"(The last line counts the records accepted, refused and unanswered ("sent" with
--sync none). Lines of more than 65532 bytes are refused, empty ones skipped.
When the daemon is out of reach, sending stops at that line. On a terminal, a line tells how
far a long run has come.
A record of more than half its file's capacity is refused unless --allow-large is given.

Examples:
  veskctl send --file platform --uuid 551 fan tray 2 removed
  dmesg | veskctl send --file kernel.log --uuid 510
  veskctl send --file 2 --uuid 677 --type 2001 --whole <registers.bin
  veskctl send --file 5 --uuid 25 --time 1767225600.5 happened at new year
  veskctl send --file 5 --uuid 25 --sync flash -- --a text that begins with a dash)";

inline constexpr char stats_help[] =
    R"(A successful clear of any file sets the statistics back to zero. Bytes are those in the
log files: headers and padding included. Both counts begin anew at 2^32.

Examples:
  veskctl stats
  veskctl stats --json | jq '.[] | select(.uuid == 510)'
  veskctl stats --run-dir /tmp/root/run/vesk)";

inline constexpr char enable_help[] =
    R"(Only root and the daemon's own user may do this.
Refused after the flash has failed, until the daemon is restarted.

Examples:
  veskctl enable platform
  veskctl enable all)";

inline constexpr char disable_help[] =
    R"(Only root and the daemon's own user may do this.
Lasts until it is enabled again or the daemon is restarted.

Examples:
  veskctl disable kernel_big.log
  veskctl disable all)";

inline constexpr char clear_help[] =
    R"(Only root and the daemon's own user may do this.
The next record makes the file anew. A successful clear also sets the statistics of all
senders back to zero. 'all' clears the log files one after the other.

Examples:
  veskctl clear temperature_err
  veskctl clear all)";

inline constexpr char config_help[] =
    R"(The daemon takes only the record of its own slot and gives no answer: "sent" means that
it let the message go, which it does unread while the flash is not mounted. Only root and
the daemon's own user may do this.

Examples:
  veskctl config --slot 1 --enable all
  veskctl config --slot 1 --enable kernel,platform,38
  veskctl config --raw modules.bin)";

inline constexpr char recover_help[] =
    R"(Only root and the daemon's own user may do this. The daemon does not say how it went: look
at 'veskctl history'. A file that cannot be repaired is removed. Do not repair a file that
is sound: the repair rewrites most entry headers, and many of them cannot be read any more.
So the file is first copied to a directory of its own in /var/lib/vesk/preserved, and
without a copy the daemon is not asked. All copies there take 64 MiB at most; the oldest
go first. The kernel logs are left as they are; asking for one leaves it open in the daemon.

Examples:
  veskctl recover platform
  veskctl recover platform --entries)";

inline constexpr char fail_notice_help[] =
    R"(WARNING: this disables all logging on that card and forbids to enable it or to clear a
file. It lasts until the daemon is restarted; no message takes it back. Only root and the
daemon's own user may do this.

Examples:
  veskctl fail-notice --slot 1)";

inline constexpr char debug_help[] =
    R"(Without options, shows only. Only root and the daemon's own user may do this.

Examples:
  veskctl debug
  veskctl debug --print trace
  veskctl debug --print error --record trace)";

inline constexpr char history_help[] =
    R"(As many of the newest events as fit one message. Only root and the daemon's own user may
do this.

Examples:
  veskctl history
  veskctl history -n 20)";

inline constexpr char monitor_help[] =
    R"(Ends by itself with --count or --timeout, otherwise with Ctrl-C. Fails when --count messages
had not come by then.

Examples:
  veskctl monitor
  veskctl monitor --count 1 --timeout 30)";

inline constexpr char status_help[] =
    R"(Exit status: 0 when the daemon answers and the flash is marked as mounted, 1 otherwise; all
that can be known is shown in either case. The counters begin at zero when the daemon starts.
The errors, of which the latest five are shown, are for root and the daemon's own user only.

Examples:
  veskctl status
  veskctl status --json | jq .daemon.pid)";

inline constexpr char snapshot_help[] =
    R"(A file that the daemon writes to meanwhile is read again until it holds together. Copies keep
their times. SHA256SUMS lists the check sums; MANIFEST.json says when and from where the
copies were made, and of each its size, its entries and whether it is sound. A damaged file
is copied as it is. A directory without MANIFEST.json is no finished snapshot.
When a file cannot be copied, the others still are, and the exit status is 1.

Examples:
  veskctl snapshot /var/tmp/evidence
  cd /var/tmp/evidence && sha256sum -c SHA256SUMS
  veskshow -D /var/tmp/evidence)";

inline constexpr char metrics_help[] =
    R"(The format is the text format of Prometheus. A daemon that does not answer is no failure:
vesk_up is 0 then, standard error says why, and the metrics of the files are there all the
same. The exit status is 1 only when nothing could be written.
Whatever could not be found out is left out, with a line on standard error.

Examples:
  veskctl metrics
  veskctl metrics --output /var/lib/prometheus/node-exporter/vesk.prom
  veskctl metrics -D /var/tmp/evidence)";

}  // namespace vesk::veskctl
