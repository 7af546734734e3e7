#include "tests/soak/report.h"

#include <cinttypes>
#include <cstdio>
#include <functional>

namespace vesk::soak {
namespace {

std::string cell(uint64_t number) {
  char text[32];
  std::snprintf(text, sizeof text, "%12" PRIu64, number);
  return text;
}

std::string label(const std::string &name) {
  char text[64];
  std::snprintf(text, sizeof text, "%-44s", name.c_str());
  return text;
}

class table {
 public:
  explicit table(const std::vector<course_result> &parts) : parts_(parts) {}

  template <typename Number>
  void row(const std::string &name, Number number) {
    text_ += label(name);
    for (const course_result &part : parts_) text_ += cell(static_cast<uint64_t>(number(part)));
    text_ += '\n';
  }

  void stored_row(const std::string &name, place where) {
    row(name, [&](const course_result &p) { return p.sums.stored[static_cast<size_t>(where)]; });
  }

  void heading() {
    text_ += label("");
    for (const course_result &part : parts_) {
      char text[32];
      std::snprintf(text, sizeof text, "%12s", part.name.c_str());
      text_ += text;
    }
    text_ += '\n';
  }

  std::string take() { return std::move(text_); }

 private:
  const std::vector<course_result> &parts_;
  std::string text_;
};

uint64_t sum_of(const uint64_t (&counts)[place_count]) {
  uint64_t sum = 0;
  for (const uint64_t count : counts) sum += count;
  return sum;
}

}  // namespace

std::string as_table(const std::vector<course_result> &parts) {
  using part_of = const course_result &;
  table all(parts);
  all.heading();
  all.row("records sent", [](part_of p) { return p.sent; });
  all.row("KiB of data", [](part_of p) { return p.bytes / 1024; });
  all.row("kills", [](part_of p) { return p.sums.deaths; });
  all.row("reboots", [](part_of p) { return p.boots; });
  all.row("starts with a copy before", [](part_of p) { return p.copied; });
  all.row("seconds", [](part_of p) { return p.seconds; });
  all.row("daemon: KiB resident at most", [](part_of p) { return p.used.resident_kib; });
  all.row("daemon: descriptors at most", [](part_of p) { return p.used.descriptors; });
  all.row("not promised: no answer came", [](part_of p) { return p.sums.unknown; });
  all.row("not promised: wanted none, then a kill", [](part_of p) { return p.sums.unasked; });
  all.row("refused", [](part_of p) { return p.sums.refused; });
  all.row("promised", [](part_of p) { return sum_of(p.sums.stored); });
  all.row("  written through to the flash", [](part_of p) { return sum_of(p.sums.synchronous); });
  all.stored_row("  in the chain", place::chain);
  all.stored_row("  found by a search of the file", place::search);
  all.stored_row("  in a copy made before a start", place::copy);
  all.stored_row("  discarded by a full ring", place::discarded);
  all.stored_row("  replaced by an update", place::replaced);
  all.stored_row("  cut off", place::cut_off);
  all.stored_row("  gone: its ring had been hit by a kill", place::hit);
  all.row("    written through to the flash",
          [](part_of p) { return p.sums.synchronous[static_cast<size_t>(place::hit)]; });
  all.stored_row("  LOST", place::lost);
  all.row("rings that a kill hit", [](part_of p) { return p.sums.hits; });
  all.row("entries shown half written", [](part_of p) { return p.sums.half_written; });
  all.row("untrue entries in rings that were hit", [](part_of p) { return p.sums.untrue_in_hit; });
  all.row("BROKEN PROMISES", [](part_of p) { return p.failure_count; });
  return all.take();
}

}  // namespace vesk::soak
