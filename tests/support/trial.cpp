#include "tests/support/trial.h"

#include <algorithm>
#include <sstream>
#include <string_view>

#include "daemon/vesk_request.h"
#include "format/vesk_catalogue.h"
#include "recovery/vesk_recover.h"
#include "recovery/vesk_validate.h"
#include "store/vesk_state.h"
#include "tests/support/allowance.h"
#include "tests/support/header_bytes.h"
#include "tests/support/log_file.h"
#include "tests/support/recorder.h"
#include "tests/support/stray_write.h"

namespace vesk::test {

namespace {

constexpr uint32_t neighbour_type = 2;

bool is_kernel_log(uint32_t file_type) {
  return file_type == 21 || file_type == 22;
}

// Runs of lines that differ in their numbers only are told once.
std::string told(const log_lines &lines) {
  std::ostringstream out;
  const auto shape = [](const log_line &line) {
    std::string text = std::to_string(line.level) + " " + line.text;
    std::erase_if(text, [](char c) { return c >= '0' && c <= '9'; });
    return text;
  };
  for (size_t i = 0, next = 0; i < lines.size(); i = next) {
    out << "  " << lines[i] << "\n";
    for (next = i + 1; next < lines.size() && shape(lines[next]) == shape(lines[i]);) ++next;
    if (next > i + 2) out << "    ... and " << next - i - 2 << " more like it, up to\n";
    if (next > i + 1) out << "  " << lines[next - 1] << "\n";
  }
  return out.str();
}

std::string look_of(const image *file) {
  if (file == nullptr) return "(no file)";
  return std::to_string(file->size()) + " bytes: " + picture_of(*file);
}

// How much of a run is kept. Log lines take most of the time, and pictures more than that: a run
// comes again with its lines where there is something to explain, and with pictures where a promise
// was broken.
enum class detail : uint8_t { none, lines, story };

// The data of a record.
std::string_view letters(uint16_t len) {
  static const std::string all = alphabet(UINT16_MAX);
  return std::string_view(all).substr(0, len);
}

class trial_run {
 public:
  trial_run(const trial &t, detail kept);
  ~trial_run() { platform.on_call = nullptr; }

  void run();

  bool wants_lines() const { return wants_lines_; }
  trial_report &result() { return result_; }

 private:
  void begin(const std::string &step, uint64_t allowance);
  void end();
  void start();
  void sweep(uint32_t mark);
  void log(const record_fields &fields);

  void expect(bool kept, const std::string &promise);
  void expect_after_repair(const std::string &step);
  void expect_stored(const record_fields &fields);
  void expect_refused(const record_fields &fields, bool fits);
  void look_at_write(const std::string &path, uint32_t offset, std::span<const uint8_t> bytes);

  const image *file() const { return flash_.find(path_); }

  const trial &trial_;
  const std::string path_ = path_of(trial_.file_type);
  const std::string neighbour_ = path_of(neighbour_type);
  const uint32_t capacity_ = capacity_of(trial_.file_type);
  const detail kept_;
  ram_flash flash_;
  trial_report result_{};
  bool wants_lines_ = false;

  // Of the step that is under way.
  std::string step_;
  uint64_t allowance_ = 0;
  bool was_there_ = false;
  image before_;
  uint32_t writes_ = 0;
  const record_fields *request_ = nullptr;
};

image sound_ring() {
  image file(header_size + 24);
  put32(file, 0, 0x7665736B);
  put16(file, 4, 0x0100);
  put32(file, 8, capacity_of(neighbour_type));
  put32(file, 12, 20);
  put32(file, 16, 44);
  complete_sum(std::span(file).first(header_size));
  put16(file, 20, 77);
  put16(file, 22, 1024);
  put16(file, 24, 4);
  complete_sum(std::span(file).subspan(first_slot, header_size));
  return file;
}

const image &neighbour_file() {
  static const image file = sound_ring();
  return file;
}

trial_run::trial_run(const trial &t, detail kept) : trial_(t), kept_(kept) {
  platform.reset();
  platform.printed.clear();
  if (kept == detail::none) platform.suppressed = {100, 101};
  platform.on_removal([this](const std::string &path) { flash_.remove(path); });
  flash_.on_write = [this](const std::string &path, uint32_t offset,
                           std::span<const uint8_t> bytes) { look_at_write(path, offset, bytes); };
  flash_.put(path_, trial_.file);
  flash_.put(neighbour_, neighbour_file());
  vesk_file_state.fill(1);
}

void trial_run::run() {
  switch (trial_.first_step) {
    case opening::start:
      start();
      break;
    case opening::restart:
      break;
    case opening::sweep_1:
      sweep(1);
      break;
    case opening::sweep_2:
      sweep(2);
      break;
    case opening::sweep_3:
      sweep(3);
      break;
  }
  const bool left_marked = vesk_file_sanity[trial_.file_type] != 0;
  if (file() == nullptr) {
    result_.what_became = treatment::removed;
  } else if (left_marked) {
    result_.what_became = treatment::left_marked;
  } else {
    result_.what_became = *file() == trial_.file ? treatment::left_alone : treatment::repaired;
  }
  log(trial_.first);
  start();
  log(trial_.second);
  expect(flash_.find(neighbour_) != nullptr && *flash_.find(neighbour_) == neighbour_file(),
         "the sound file beside it has changed");
}

void trial_run::begin(const std::string &step, uint64_t allowance) {
  step_ = step;
  allowance_ = allowance;
  was_there_ = file() != nullptr;
  before_ = was_there_ ? *file() : image();
  writes_ = 0;
  platform.forget();
  if (kept_ == detail::story) {
    result_.story += step + "\n  before: " + look_of(file()) + "\n";
  }
  flash_.allow(allowance);
}

// The rest of the step's promises is looked at behind this.
void trial_run::end() {
  const uint64_t used = flash_.calls() * 1000 / allowance_;
  result_.used = std::max(result_.used, static_cast<uint32_t>(used));
  if (kept_ == detail::story) {
    result_.story += told(platform.history) + "  after: " + look_of(file()) + "\n";
  }
  expect(!flash_.overspent(),
         "it would not end: more than " + std::to_string(allowance_) + " calls");
}

void trial_run::start() {
  begin("a start", allowance_of_start(capacity_));
  vesk_file_sanity.fill(0);
  vesk_validate_files();
  end();
  const bool swept = !platform.calls.empty() && platform.calls.back() == "runctl_heartbeat(0)";
  expect(swept || writes_ == 0, "it wrote, although there was nothing to repair");
  if (file() != nullptr) expect(gheader_of(*file()).version == 1, "a wrong version is left");
  expect_after_repair("a start");
}

void trial_run::sweep(uint32_t mark) {
  begin("a sweep with mark " + std::to_string(mark), allowance_of_sweep(capacity_));
  vesk_file_sanity[trial_.file_type] = mark;
  vesk_recover_corrupted_files();
  end();
  expect_after_repair("a sweep");
}

void trial_run::expect_after_repair(const std::string &step) {
  const std::vector<std::string> open = flash_.open_files();
  if (vesk_file_sanity[trial_.file_type] != 0) {
    expect(is_kernel_log(trial_.file_type), "a mark is left, and it is no kernel log's");
    expect(open.size() == 1 && open[0] == path_, "the marked kernel log is not the one file open");
    flash_.close_all();
  } else {
    expect(open.empty(), "a descriptor is left open");
  }
  if (file() == nullptr) return;
  // A ring said to begin within the global header has that taken for an entry's and corrected.
  if (step == "a sweep" && gheader_of(before_).start < first_slot) return;
  const gheader_fields header = gheader_of(*file());
  expect(header.holds, "the global header does not hold");
  expect(header.max == capacity_, "the global header names a wrong capacity");
}

void trial_run::log(const record_fields &fields) {
  begin("a record of " + std::to_string(fields.len) + " bytes", allowance_of_request(capacity_));
  request_ = &fields;
  record_fields sent = fields;
  sent.data = letters(fields.len);
  const int32_t result = vesk_do_vesk(record(sent));
  request_ = nullptr;
  end();
  expect(flash_.open_files().empty(), "a descriptor is left open");
  const bool fits = fields.len + 44u <= capacity_ - header_size;
  if (result == 0) {
    expect(fits, "a record was accepted that cannot fit");
    expect_stored(fields);
  } else {
    ++result_.refused;
    expect_refused(fields, fits);
  }
}

void trial_run::expect_stored(const record_fields &fields) {
  expect(file() != nullptr, "a record was accepted, and the file is gone");
  if (file() == nullptr) return;
  const gheader_fields header = gheader_of(*file());
  const uint32_t max = was_there_ ? gheader_of(before_).max : capacity_;
  expect(header.holds && header.max == max, "the global header does not hold");
  if (fields.update == 1 && was_there_) return;  // it may be anywhere, or was dropped for its size

  // Where the header names less than the capacity, a record may be too large for the ring.
  expect(max < capacity_ || max - header.end > header_size,
         "behind the new end there is no room for a null entry");
  const uint32_t size = (fields.len + 3u) & ~3u;
  const uint32_t at = header.end - header_size - size;
  // A ring said to end within the global header has its first entry written over again by that.
  if (at < first_slot && was_there_) return;
  const bool there = header.end <= file()->size() && at < header.end;
  expect(there, "the new end is not in the file");
  if (!there) return;
  const std::span entry = std::span(*file()).subspan(at, header_size + size);
  const std::string_view data(reinterpret_cast<const char *>(&entry[header_size]), fields.len);
  expect(sum_holds(entry.data()), "the new entry's header does not hold");
  expect(get16(entry, 0) == fields.uuid && get16(entry, 2) == fields.type &&
             get16(entry, 4) == static_cast<uint16_t>(size) && entry[8] == fields.flags &&
             entry[9] == 0 && get32(entry, 12) == fields.secs && get32(entry, 16) == fields.usecs,
         "the new entry's header is not the record's");
  expect(data == letters(fields.len), "the new entry's data are not the record's");
}

void trial_run::expect_refused(const record_fields &fields, bool fits) {
  if (!fits) {
    expect(was_there_ == (file() != nullptr) && (file() == nullptr || *file() == before_),
           "a record that cannot fit touched the file");
    return;
  }
  expect(was_there_, "a record of " + std::to_string(fields.len) +
                         " bytes was refused although there was no file");
  if (file() == nullptr) return;
  // A ring said to begin within the global header may have that covered by a null entry.
  const gheader_fields was = gheader_of(before_);
  if (was.start < first_slot) return;
  const gheader_fields is = gheader_of(*file());
  expect(is.holds && is.start == was.start && is.end == was.end && is.max == was.max,
         "a refused record changed the global header");
  wants_lines_ = true;
  if (kept_ == detail::none) return;
  const auto gives_reason = [](const log_line &line) {
    return line.text.starts_with("ERROR: make space - no entry boundary frees") ||
           line.text.starts_with("ERROR: lseek failed to seek") ||
           line.text.starts_with("ERROR: Write failed etype");
  };
  expect(std::any_of(platform.history.begin(), platform.history.end(), gives_reason),
         "a record was refused and the file kept, for no known reason");
}

void trial_run::expect(bool kept, const std::string &promise) {
  if (kept) return;
  result_.broken.push_back(step_ + ": " + promise);
  wants_lines_ = true;
}

void trial_run::look_at_write(const std::string &path, uint32_t offset,
                              std::span<const uint8_t> bytes) {
  ++writes_;
  if (path != path_ || offset + bytes.size() <= capacity_) return;
  wants_lines_ = true;
  if (kept_ == detail::none) return;
  const stray_write stray{
      .capacity = capacity_,
      .offset = offset,
      .bytes = bytes,
      .before = before_,
      .now = *file(),
      .request = request_,
      .last_line = platform.history.empty() ? "" : platform.history.back().text};
  const char *const name = excuse(stray);
  if (name != nullptr) result_.strayed.push_back(name);
  expect(name != nullptr, std::to_string(bytes.size()) + " bytes written at " +
                              std::to_string(offset) + ", beyond the capacity, after \"" +
                              stray.last_line + "\"");
}

}  // namespace

std::string path_of(uint32_t file_type) {
  return std::string(VESK_LOG_DIR) + find_file(file_type)->name;
}

uint32_t capacity_of(uint32_t file_type) {
  return find_file(file_type)->max_size;
}

trial_report run_trial(const trial &trial, bool tell) {
  for (const detail kept : {detail::none, detail::lines}) {
    if (tell) break;
    trial_run run(trial, kept);
    run.run();
    const bool explained = !run.wants_lines() || kept == detail::lines;
    if (explained && run.result().broken.empty()) return run.result();
  }
  trial_run told(trial, detail::story);
  told.run();
  return told.result();
}

}  // namespace vesk::test
