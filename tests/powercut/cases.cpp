#include "tests/powercut/cases.h"

#include <algorithm>
#include <stdexcept>

#include "tests/powercut/daemon_in_memory.h"
#include "tests/support/dice.h"
#include "tests/support/header_bytes.h"
#include "tests/support/trial.h"

namespace vesk::test {

namespace {

constexpr uint16_t status_type = 1030;  // of the entries that updates are about
constexpr uint16_t status_length = 60;
constexpr uint32_t laps = 3;  // so often a ring is filled that has wrapped many times

constexpr filling in_8k{.name = "8k", .file_type = 7, .shortest = 8, .longest = 400};
constexpr filling in_8k_small{.name = "8k-small", .file_type = 7, .shortest = 4, .longest = 80};
constexpr filling in_8k_large{.name = "8k-large", .file_type = 7, .shortest = 500, .longest = 1500};
constexpr filling in_128k{.name = "128k", .file_type = 6, .shortest = 300, .longest = 2500};

// Text that no other record has, of which no four bytes look like a header.
std::string text_of(uint32_t serial, size_t length) {
  std::string text = "record " + std::to_string(serial) + " ";
  text.resize(std::max(text.size(), length), '.');
  for (size_t i = 8; i < text.size(); ++i) {
    if (text[i] == '.') text[i] = static_cast<char>('a' + (serial + i) % 26);
  }
  text.resize(length);
  if (length < 8) text.replace(0, length, std::to_string(serial + 1000), 0, length);
  return text;
}

class ring_maker {
 public:
  ring_maker(const filling &filling, uint32_t variant)
      : filling_(filling),
        dice_(uint64_t{filling.longest} << 32 | variant),
        daemon_(filling.file_type) {
    made_.file_type = filling.file_type;
    made_.capacity = capacity_of(filling.file_type);
  }

  void fill(ring_shape shape, uint16_t next_length);
  void damage_second_oldest();
  void plan(operation_kind kind, uint16_t length);
  power_case take() { return std::move(made_); }

 private:
  record_fields next_record(uint16_t type, uint16_t length);
  record_fields filler(ring_shape shape, uint16_t next_length);
  bool has(ring_shape shape, uint32_t space) const;
  bool serves(uint16_t length);
  void log(const record_fields &fields);
  void add_to_operation(const record_fields &fields);

  const filling filling_;
  dice dice_;
  daemon_in_memory daemon_;
  power_case made_{};
  uint32_t serial_ = 0;
  uint32_t secs_ = 0x5F000000;
  uint64_t logged_ = 0;
};

// Several records come in a second, and the clock never goes back.
record_fields ring_maker::next_record(uint16_t type, uint16_t length) {
  if (dice_.one_in(3)) secs_ += dice_.between(1, 5);
  record_fields fields;
  fields.type = type;
  fields.len = length;
  fields.secs = secs_;
  fields.usecs = serial_ % 1000 * 1000;
  fields.file_type = static_cast<uint16_t>(filling_.file_type);
  fields.data = text_of(serial_, length);
  ++serial_;
  return fields;
}

record_fields ring_maker::filler(ring_shape shape, uint16_t next_length) {
  if (serial_ % 5 == 2) return next_record(status_type, status_length);
  auto length = static_cast<uint16_t>(dice_.between(filling_.shortest, filling_.longest));
  // Only the operation's own record may wrap a ring that is to be just before that.
  if (shape == ring_shape::wrapping) length = std::min(length, next_length);
  return next_record(static_cast<uint16_t>(1024 + dice_.below(4)), length);
}

bool ring_maker::has(ring_shape shape, uint32_t space) const {
  if (shape == ring_shape::no_file) return true;
  if (!made_.before) return false;
  const gheader_fields ring = gheader_of(*made_.before);
  const bool fits_behind = space <= ring.max - ring.end;
  const bool wrapped_often = logged_ > uint64_t{laps} * ring.max;
  const bool fits_before = ring.start <= ring.end || space <= ring.start - ring.end;
  switch (shape) {
    case ring_shape::no_file:
      return true;
    case ring_shape::fresh:
      return ring.end > ring.max / 3;
    case ring_shape::wrapping:
      return !fits_behind;
    case ring_shape::roomy:
      return wrapped_often && fits_behind && ring.start > ring.end && fits_before;
    case ring_shape::full:
    case ring_shape::damaged:
      return wrapped_often && fits_behind && !fits_before;
    case ring_shape::turning:
      return wrapped_often && !fits_behind;
  }
  return false;
}

// A ring of the smallest file may be one in which the daemon refuses a record whose sender waits
// for the flash. In such a one there would be nothing to cut.
bool ring_maker::serves(uint16_t length) {
  record_fields fields;
  fields.len = length;
  fields.file_type = static_cast<uint16_t>(filling_.file_type);
  fields.sync = 2;
  return daemon_.log(made_.before, fields).served;
}

void ring_maker::log(const record_fields &fields) {
  daemon_step step = daemon_.log(made_.before, fields);
  if (!step.served) throw std::logic_error("a ring could not be filled");
  made_.before = std::move(step.file);
  made_.sent.insert(id_of(fields));
  logged_ += header_size + fields.len;
}

void ring_maker::fill(ring_shape shape, uint16_t next_length) {
  constexpr uint32_t patience = 100'000;
  for (uint32_t n = 0; !has(shape, next_length + 44u) || !serves(next_length); ++n) {
    if (n == patience) throw std::logic_error("no ring of this shape comes about");
    log(filler(shape, next_length));
  }
}

void ring_maker::damage_second_oldest() {
  constexpr uint8_t pattern[] = {0x5A, 0xA5, 0xC3, 0x3C};  // no header begins in it
  constexpr uint32_t length = 24;
  image &file = *made_.before;
  const uint32_t start = gheader_of(file).start;
  const uint32_t at = start + header_size + get16(file, start + 4);
  if (at + length > file.size()) throw std::logic_error("the second oldest entry lies elsewhere");
  for (uint32_t i = 0; i < length; ++i) file[at + i] = pattern[i % sizeof pattern];
}

void ring_maker::add_to_operation(const record_fields &fields) {
  made_.operation.push_back(fields);
  made_.sent.insert(id_of(fields));
}

void ring_maker::plan(operation_kind kind, uint16_t length) {
  const auto update = [&](uint16_t len, uint32_t instance) {
    record_fields fields = next_record(status_type, len);
    fields.update = 1;
    fields.instance = instance;
    add_to_operation(fields);
  };
  switch (kind) {
    case operation_kind::append_twice:
      add_to_operation(next_record(1025, length));
      [[fallthrough]];
    case operation_kind::append:
      add_to_operation(next_record(1026, length));
      break;
    case operation_kind::append_sync:
      add_to_operation(next_record(1026, length));
      made_.operation.back().sync = 2;
      break;
    case operation_kind::update_same:
      update(status_length, 0);
      break;
    case operation_kind::update_first:
      update(status_length, 1);
      break;
    case operation_kind::update_second:
      update(status_length, 2);
      break;
    case operation_kind::update_smaller_8:
      update(status_length - 8, 0);
      break;
    case operation_kind::update_smaller_24:
      update(status_length - 24, 0);
      break;
    case operation_kind::update_larger:
      update(status_length + 4, 0);
      break;
  }
  secs_ += 60;  // until the card is up again
  made_.next = next_record(1027, 40);
  made_.sent.insert(id_of(made_.next));
}

enum class record_length : uint8_t { usual, large };

// Cases that take long because they have many cuts.
enum class cost : uint8_t {
  low,
  high,       // in the full table only
  very_high,  // and there only of small files
};

struct shape_and_operation {
  const char *name;
  ring_shape shape;
  operation_kind operation;
  record_length length = record_length::usual;
  cost of_trial = cost::low;
};

using enum operation_kind;

constexpr shape_and_operation combinations[] = {
    {"new/append", ring_shape::no_file, append},
    {"new/append-sync", ring_shape::no_file, append_sync},
    {"fresh/append", ring_shape::fresh, append},
    {"fresh/append-large", ring_shape::fresh, append, record_length::large, cost::high},
    {"fresh/append-sync", ring_shape::fresh, append_sync},
    {"fresh/append-twice", ring_shape::fresh, append_twice, record_length::usual, cost::very_high},
    {"wrapping/append", ring_shape::wrapping, append},
    {"wrapping/append-sync", ring_shape::wrapping, append_sync},
    {"wrapping/append-large-sync", ring_shape::wrapping, append_sync, record_length::large},
    {"roomy/append", ring_shape::roomy, append},
    {"roomy/append-sync", ring_shape::roomy, append_sync},
    {"full/append", ring_shape::full, append},
    {"full/append-large", ring_shape::full, append, record_length::large, cost::high},
    {"full/append-sync", ring_shape::full, append_sync},
    {"turning/append", ring_shape::turning, append},
    {"turning/append-sync", ring_shape::turning, append_sync},
    {"damaged/append", ring_shape::damaged, append},
    {"fresh/update-same", ring_shape::fresh, update_same},
    {"fresh/update-smaller-by-8", ring_shape::fresh, update_smaller_8},
    {"fresh/update-smaller-by-24", ring_shape::fresh, update_smaller_24},
    {"fresh/update-larger", ring_shape::fresh, update_larger},
    {"full/update-same", ring_shape::full, update_same},
    {"full/update-first", ring_shape::full, update_first},
    {"full/update-second", ring_shape::full, update_second},
    {"full/update-smaller-by-24", ring_shape::full, update_smaller_24},
};

struct kind_of_ring {
  filling records;
  uint16_t usual;  // lengths of the operation's record
  uint16_t large;
  uint32_t variants;
};

constexpr kind_of_ring kinds[] = {
    {in_8k, 22, 1000, 4},
    {in_8k_small, 13, 500, 1},
    {in_8k_large, 301, 3001, 1},
    {in_128k, 250, 4001, 1},
};

std::vector<case_plan> cases_of(const kind_of_ring &kind, uint32_t variants, cost most) {
  std::vector<case_plan> plans;
  for (const shape_and_operation &c : combinations) {
    if (c.of_trial > most) continue;
    plans.push_back({.name = std::string(kind.records.name) + "/" + c.name,
                     .records = kind.records,
                     .shape = c.shape,
                     .operation = c.operation,
                     .length = c.length == record_length::large ? kind.large : kind.usual,
                     .variants = variants});
  }
  return plans;
}

}  // namespace

std::vector<case_plan> planned_cases(extent extent) {
  if (extent == extent::quick) return cases_of(kinds[0], 1, cost::low);
  std::vector<case_plan> plans;
  for (const kind_of_ring &kind : kinds) {
    const cost most = kind.records.file_type == in_8k.file_type ? cost::very_high : cost::high;
    const std::vector<case_plan> more = cases_of(kind, kind.variants, most);
    plans.insert(plans.end(), more.begin(), more.end());
  }
  return plans;
}

power_case make_case(const case_plan &plan, uint32_t variant) {
  ring_maker maker(plan.records, variant);
  maker.fill(plan.shape, plan.length);
  if (plan.shape == ring_shape::damaged) maker.damage_second_oldest();
  maker.plan(plan.operation, plan.length);
  return maker.take();
}

}  // namespace vesk::test
