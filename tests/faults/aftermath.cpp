#include "tests/faults/aftermath.h"

#include <algorithm>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "format/vesk_catalogue.h"
#include "recovery/vesk_validate.h"
#include "store/vesk_state.h"
#include "tests/support/allowance.h"
#include "tests/support/header_bytes.h"
#include "tests/support/recorder.h"
#include "tests/support/trial.h"

namespace vesk::test {

namespace {

constexpr uint32_t largest_walked = 0x100000;  // the kernel logs are larger, and never walked
constexpr uint16_t next_type = 1040;
constexpr uint16_t next_length = 30, next_size = 32;

class follower {
 public:
  follower(scene &scene, uint32_t file_type)
      : scene_(scene), path_(path_of(file_type)), capacity_(capacity_of(file_type)) {
    fields_.type = next_type;
    fields_.len = next_length;
    fields_.file_type = static_cast<uint16_t>(file_type);
    fields_.sync = 1;
    fields_.secs = 0x60000000;
  }

  aftermath follow();

 private:
  using lines = std::vector<std::string>;

  void expect(bool kept, const std::string &promise) {
    if (!kept) result_.broken.push_back(promise);
  }
  lines log_next(const std::string &when);
  bool log_once(lines &errors);
  void expect_stored(const std::string &when);
  void start(const std::string &when);
  void expect_sound(const std::string &path, uint32_t capacity, const std::string &when);
  std::map<std::string, image> files() const;
  void put_back(const std::map<std::string, image> &saved);

  scene &scene_;
  std::string path_;
  uint32_t capacity_;
  record_fields fields_;
  aftermath result_;
};

std::map<std::string, image> follower::files() const {
  std::map<std::string, image> found;
  for (const vesk_catalogue_row &row : vesk_file_catalogue) {
    const std::string path = path_of(row.file_type());
    if (const image *file = scene_.find(path)) found[path] = *file;
  }
  return found;
}

void follower::put_back(const std::map<std::string, image> &saved) {
  for (const vesk_catalogue_row &row : vesk_file_catalogue) {
    const std::string path = path_of(row.file_type());
    const auto file = saved.find(path);
    scene_.remove(path);
    if (file != saved.end()) scene_.put(path, file->second);
  }
}

bool follower::log_once(lines &errors) {
  scene_.watch_capacity(path_, capacity_);
  scene_.begin(allowance_of_request(capacity_));
  scene_.serve(fields_);
  const lines seen = scene_.events();
  errors.clear();
  std::copy_if(seen.begin(), seen.end(), std::back_inserter(errors),
               [](const std::string &event) { return event.starts_with("! "); });
  return std::find(seen.begin(), seen.end(), "answer 1") != seen.end();
}

void follower::expect_stored(const std::string &when) {
  const image *file = scene_.find(path_);
  expect(file != nullptr, when + " was answered as stored, and there is no file");
  if (file == nullptr) return;
  const gheader_fields ring = gheader_of(*file);
  expect(ring.holds, when + " left a global header that does not hold");
  const uint32_t at = ring.end - header_size - next_size;
  const bool room = ring.end <= file->size() && at < ring.end;
  expect(room, when + " is not in the file");
  if (!room) return;
  const std::span entry = std::span(*file).subspan(at, header_size + next_size);
  const std::string_view data(reinterpret_cast<const char *>(&entry[header_size]), next_length);
  expect(sum_holds(entry.data()) && get16(entry, 2) == next_type && get16(entry, 4) == next_size &&
             data == alphabet(next_length),
         when + " does not lie before the ring's end");
}

// The error lines where the record is refused; none where it is stored.
follower::lines follower::log_next(const std::string &when) {
  lines errors, more;
  const auto serve = [&](lines &to) {
    const bool stored = log_once(to);
    expect(!scene_.overspent(), when + " would not end");
    expect(scene_.open_files().empty(), when + " left a descriptor open");
    for (const std::string &promise : scene_.broken()) expect(false, when + ": " + promise);
    if (stored) expect_stored(when);
    return stored;
  };
  if (serve(errors)) return {};
  expect(serve(more), when + " was refused a second time");
  if (errors.empty()) errors.push_back("(no line)");
  return errors;
}

void follower::expect_sound(const std::string &path, uint32_t capacity, const std::string &when) {
  const image *file = scene_.find(path);
  if (file == nullptr) return;
  const gheader_fields ring = gheader_of(*file);
  expect(ring.holds && ring.version == 1 && ring.max == capacity,
         when + " left " + path + " with a global header that does not hold");
}

void follower::start(const std::string &when) {
  scene_.restart_process();
  scene_.begin(allowance_of_start(largest_walked));
  vesk_validate_files();
  expect(!scene_.overspent(), when + " would not end");
  expect(scene_.open_files().empty(), when + " left a descriptor open");
  for (const vesk_catalogue_row &row : vesk_file_catalogue) {
    expect(vesk_file_sanity[row.file_type()] == 0, when + " left a mark");
    expect_sound(path_of(row.file_type()), row.max_size, when);
  }
}

aftermath follower::follow() {
  scene_.heal();
  if (!scene_.has_mount()) {
    scene_.begin(allowance_of_request(capacity_));
    scene_.serve(fields_);
    expect(scene_.events() == lines({"receive", "stat " + marker, "drop"}),
           "without a mounted flash a record was not dropped unread");
  }
  scene_.mount();
  scene_.close_all();
  const std::map<std::string, image> left = files();

  result_.refused_next = log_next("the next record");
  start("the start behind it");
  expect(log_next("the record behind that").empty(), "the record behind that start was refused");

  put_back(left);
  start("a start at once");
  expect(log_next("the record behind a start").empty(), "a record behind a start was refused");
  return std::move(result_);
}

}  // namespace

aftermath take_aftermath(scene &scene, uint32_t file_type) {
  return follower(scene, file_type).follow();
}

}  // namespace vesk::test
