// What is predicted of damaged files, against what the daemon's start then does with them.
//
// Each directory of files belongs to a number. With VESK_SEED=<number> in the environment that one
// runs alone and tells its story, with pictures of its files.
#include "forecast/vesk_forecast.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "format/vesk_catalogue.h"
#include "reader/vesk_ring_summary.h"
#include "recovery/vesk_validate.h"
#include "store/vesk_state.h"
#include "tests/property/random_directory.h"
#include "tests/support/header_bytes.h"
#include "tests/support/log_file.h"
#include "tests/support/random_trial.h"
#include "tests/support/recorder.h"
#include "tests/support/trial.h"

namespace vesk::test {
namespace {

constexpr uint64_t directories = 8'000;

using forecasts = std::map<uint32_t, file_forecast>;

forecasts predict(const directory &files) {
  forecasts all;
  bool repairs_ended = false;
  for (const auto &[file_type, file] : files) {
    const failure why = forecast(file_type, file, repairs_ended, all[file_type]);
    EXPECT_EQ(why.reason, "");
    repairs_ended |= all[file_type].ends_repairs;
  }
  return all;
}

// What a start writes into one file, told apart by how it looks. A null entry is a header right
// before zeros; any other header among the entries is one that was rewritten.
struct writes {
  std::set<uint32_t> rewritten;  // offsets
  uint32_t nulls = 0;
  uint32_t last_header = 0;
  bool any = false;

  void see(uint32_t offset, std::span<const uint8_t> bytes) {
    any = true;
    if (offset < first_slot) return;
    const bool zeros = std::all_of(bytes.begin(), bytes.end(), [](uint8_t b) { return b == 0; });
    if (!zeros) {
      rewritten.insert(offset);
      last_header = offset;
    } else if (offset == last_header + header_size) {
      rewritten.erase(last_header);
      ++nulls;
    }
  }
};

// What became of a file.
struct left_file {
  file_fate fate;
  writes written;
  std::optional<image> bytes;  // of one that was rebuilt
};

struct start_result {
  std::map<uint32_t, left_file> files;
  bool swept;  // the repairs ran
  std::vector<std::string> open_files;
};

file_fate fate_of(uint32_t file_type, const image *bytes, const writes &written) {
  if (bytes == nullptr) return file_fate::remove;
  if (vesk_file_sanity[file_type] != 0) return file_fate::stay_marked;
  return written.any ? file_fate::rebuild : file_fate::keep;
}

start_result start_with(directory files) {
  platform.reset();
  platform.printed.clear();
  platform.suppressed = {100, 101};
  ram_flash flash;
  platform.on_removal([&](const std::string &path) { flash.remove(path); });
  std::map<std::string, writes> written;
  flash.on_write = [&](const std::string &path, uint32_t offset, std::span<const uint8_t> bytes) {
    written[path].see(offset, bytes);
  };
  for (auto &[file_type, bytes] : files) flash.put(path_of(file_type), std::move(bytes));

  vesk_file_sanity.fill(0);
  vesk_validate_files();

  start_result result;
  for (const auto &[file_type, moved] : files) {
    const image *bytes = flash.find(path_of(file_type));
    left_file &left = result.files[file_type];
    left.written = written[path_of(file_type)];
    left.fate = fate_of(file_type, bytes, left.written);
    if (left.fate == file_fate::rebuild) left.bytes = *bytes;
  }
  result.swept = !platform.calls.empty() && platform.calls.back() == "runctl_heartbeat(0)";
  result.open_files = flash.open_files();
  flash.close_all();
  platform.on_call = nullptr;
  return result;
}

void expect_same_rebuild(const file_forecast &predicted, const left_file &left) {
  const gheader_fields header = gheader_of(*left.bytes);
  EXPECT_EQ(predicted.state.max, header.max);
  EXPECT_EQ(predicted.state.start, header.start);
  EXPECT_EQ(predicted.state.end, header.end);
  EXPECT_EQ(predicted.headers_rewritten, left.written.rewritten.size());
  EXPECT_EQ(predicted.nulls_added, left.written.nulls);
  EXPECT_EQ(predicted.readable_after, summarize(*left.bytes, header.max).entries);
  EXPECT_TRUE(predicted.rebuilt == *left.bytes) << "the bytes differ";
}

// A file that is not rebuilt is not written to, so that what is left is as it was; of one that is
// removed, nothing is left to compare.
void expect_same(const file_forecast &predicted, const left_file &left) {
  EXPECT_EQ(fate_name(predicted.fate), fate_name(left.fate));
  if (left.fate == file_fate::keep || left.fate == file_fate::stay_marked) {
    EXPECT_FALSE(left.written.any) << "it was written to";
  }
  if (predicted.fate == file_fate::rebuild && left.fate == file_fate::rebuild) {
    expect_same_rebuild(predicted, left);
  } else {
    EXPECT_TRUE(predicted.rebuilt.empty());
  }
  EXPECT_EQ(!predicted.objection, predicted.fate == file_fate::keep);
}

bool asks_for_repair(const file_forecast &one) {
  return one.fate == file_fate::rebuild || one.fate == file_fate::stay_marked || one.repair_failure;
}

void expect_same(const forecasts &predicted, const start_result &done) {
  bool repair = false;
  std::vector<std::string> left_open;  // the kernel log that ends the repairs
  for (const auto &[file_type, one] : predicted) {
    SCOPED_TRACE(path_of(file_type));
    expect_same(one, done.files.at(file_type));
    repair |= asks_for_repair(one);
    if (one.ends_repairs) left_open.push_back(path_of(file_type));
  }
  EXPECT_EQ(repair, done.swept);
  EXPECT_EQ(left_open, done.open_files);
}

std::string text_of(const finding &found) {
  if (!found) return "no problem";
  return "problem " + std::to_string(static_cast<uint32_t>(found.what)) + " at " +
         std::to_string(found.offset);
}

std::string story_of(const directory &files, const forecasts &predicted, const start_result &done) {
  std::ostringstream out;
  for (const auto &[file_type, file] : files) {
    const file_forecast &one = predicted.at(file_type);
    const left_file &left = done.files.at(file_type);
    out << path_of(file_type) << "\n  before: " << picture_of(file)
        << "\n  predicted: " << fate_name(one.fate) << "; " << text_of(one.objection)
        << "; repair: " << text_of(one.repair_failure) << "\n  done: " << fate_name(left.fate)
        << "\n";
    if (!one.rebuilt.empty()) out << "  predicted: " << picture_of(one.rebuilt) << "\n";
    if (left.bytes) out << "  done: " << picture_of(*left.bytes) << "\n";
  }
  return out.str();
}

void run_case(uint64_t seed, bool tell, forecasts *predicted) {
  const directory files = random_directory(seed);
  *predicted = predict(files);
  const start_result done = start_with(files);
  expect_same(*predicted, done);
  if (tell) std::cout << story_of(files, *predicted, done);
  if (::testing::Test::HasFailure() && !tell) ADD_FAILURE() << story_of(files, *predicted, done);
}

// What no file leads to while the flash works, or one that is made for it alone.
bool is_out_of_reach(problem what) {
  return what == problem::gheader_unreadable || what == problem::null_entry_not_written ||
         what == problem::first_slot_unreadable;
}

struct totals {
  uint32_t files = 0;
  std::map<file_fate, uint32_t> fates;
  std::map<problem, uint32_t> problems;
  std::set<uint32_t> types;
  uint32_t covered = 0;   // rebuilt with null entries,
  uint32_t readable = 0;  // and with something left to read
  uint32_t ends = 0;      // kernel logs that end the repairs

  void add(uint32_t file_type, const file_forecast &one) {
    ++files;
    types.insert(file_type);
    ++fates[one.fate];
    ++problems[one.objection.what];
    ++problems[one.repair_failure.what];
    if (one.nulls_added > 0) ++covered;
    if (one.readable_after > 0) ++readable;
    if (one.ends_repairs) ++ends;
  }
};

void tell(totals &t) {
  std::cout << "  " << t.files << " files: kept " << t.fates[file_fate::keep] << ", rebuilt "
            << t.fates[file_fate::rebuild] << " (" << t.covered << " with null entries, "
            << t.readable << " readable afterwards), removed " << t.fates[file_fate::remove]
            << ", left marked " << t.fates[file_fate::stay_marked] << " (" << t.ends
            << " that end the repairs)\n";
  for (const auto &[what, count] : t.problems) {
    std::cout << "  " << count << " times problem " << static_cast<uint32_t>(what) << "\n";
  }
}

// Each way to end has to occur, or the files are not what they are meant to be.
void expect_variety(totals &t) {
  EXPECT_GT(t.fates[file_fate::keep], t.files / 10);
  EXPECT_GT(t.fates[file_fate::rebuild], t.files / 10);
  EXPECT_GT(t.fates[file_fate::remove], t.files / 10);
  EXPECT_GT(t.ends, t.files / 1000);
  EXPECT_GT(t.fates[file_fate::stay_marked] - t.ends, t.files / 1000);
  EXPECT_GT(t.covered, t.files / 100);
  EXPECT_GT(t.readable, t.files / 100);
  for (const auto &row : vesk_file_catalogue) EXPECT_TRUE(t.types.contains(row.file_type()));
  for (size_t i = 0; i < problem_count; ++i) {
    const auto what = static_cast<problem>(i);
    EXPECT_TRUE(t.problems[what] > 0 || is_out_of_reach(what)) << i;
  }
}

TEST(Forecast, is_what_the_start_does) {
  forecasts predicted;
  if (const auto seed = the_one_seed()) return run_case(*seed, true, &predicted);
  totals totals;
  for (uint64_t seed = 1; seed <= directories && !HasFailure(); ++seed) {
    SCOPED_TRACE("VESK_SEED=" + std::to_string(seed));
    run_case(seed, false, &predicted);
    for (const auto &[file_type, one] : predicted) totals.add(file_type, one);
  }
  tell(totals);
  if (!HasFailure()) expect_variety(totals);
}

}  // namespace
}  // namespace vesk::test
