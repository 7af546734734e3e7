#include "tests/support/rings.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>

#include "daemon/vesk_request.h"
#include "recovery/vesk_recover.h"
#include "store/vesk_state.h"
#include "tests/support/header_bytes.h"
#include "tests/support/recorder.h"
#include "tests/support/trial.h"

namespace vesk::test {

namespace {

// A quiet daemon with one file, which it never removes.
class workshop {
 public:
  workshop(uint32_t file_type, const image *file) : path_(path_of(file_type)) {
    platform.reset();
    platform.printed.clear();
    platform.suppressed = {100, 101};
    vesk_file_state.fill(1);
    flash_.allow(100'000'000);
    if (file != nullptr) flash_.put(path_, *file);
  }

  void log(const record_fields &fields) { vesk_do_vesk(record(fields)); }
  ram_flash &flash() { return flash_; }
  image file() const {
    if (flash_.overspent()) throw std::runtime_error("the daemon's work on a file would not end");
    const image *bytes = flash_.find(path_);
    return bytes == nullptr ? image() : *bytes;
  }

 private:
  std::string path_;
  ram_flash flash_;
};

// How much is logged into a ring, in hundredths of its capacity, and how long its records are.
struct growth {
  uint32_t filling;
  uint32_t longest;
};

growth random_growth(uint32_t capacity, dice &dice) {
  const uint32_t filling = dice.one_of(
      {dice.between(0, 30), dice.between(30, 100), dice.between(90, 130), dice.between(130, 600)});
  const uint32_t longest = dice.one_of({12u, 60u, 200u, std::min(capacity / 6, 4000u)});
  return {filling, longest};
}

image grow(uint32_t file_type, dice &dice) {
  const uint32_t capacity = capacity_of(file_type);
  // Files of the larger types stay small, or it takes too long; some of them wrap.
  const growth growth = capacity <= 0x2000   ? random_growth(capacity, dice)
                        : capacity > 0x20000 ? vesk::test::growth{0, 60}
                        : dice.one_in(3)     ? vesk::test::growth{130, 8000}
                                             : vesk::test::growth{dice.between(0, 5), 300};
  const uint32_t count = capacity > 0x20000 ? dice.below(60) : UINT32_MAX;
  const uint64_t wanted =
      capacity > 0x20000 ? UINT64_MAX : uint64_t{capacity} * growth.filling / 100;

  workshop workshop(file_type, nullptr);
  uint32_t secs = 0x5F000000 + dice.below(1000);
  uint64_t logged = 0;
  for (uint32_t n = 0; n < count && logged < wanted; ++n) {
    record_fields fields = random_record(file_type, dice);
    fields.len = static_cast<uint16_t>(dice.between(1, growth.longest));
    fields.update = 0;
    // The clock goes on, now and then not at all, and rarely back.
    secs += dice.one_in(50) ? -dice.below(100) : dice.below(3);
    fields.secs = secs;
    workshop.log(fields);
    logged += header_size + fields.len;
  }
  return workshop.file();
}

}  // namespace

record_fields random_record(uint32_t file_type, dice &dice) {
  const uint32_t capacity = capacity_of(file_type);
  const uint32_t largest = std::min<uint32_t>(capacity - header_size - 44, 65535);
  record_fields fields;
  fields.uuid = dice.one_of<uint16_t>({77, 77, 77, 1, 293, 2736});
  fields.type = static_cast<uint16_t>(1024 + dice.below(4));
  fields.len = static_cast<uint16_t>(dice.one_of(
      {dice.between(1, 8), dice.between(1, 80), dice.between(1, 80), dice.between(1, 2000),
       dice.between(1, largest), largest, dice.one_in(8) ? std::min(largest + 1, 65535u) : 1u}));
  fields.flags = dice.byte();
  fields.update = dice.one_in(3) ? 1 : 0;
  fields.secs = 0x60000000;
  fields.usecs = dice.below(1'000'000);
  fields.file_type = static_cast<uint16_t>(file_type);
  fields.sync = static_cast<uint8_t>(dice.one_in(3) ? dice.below(4) : 0);
  fields.instance = dice.one_in(2) ? 0 : dice.below(4);
  return fields;
}

const image &grown_ring(uint32_t file_type, uint32_t shape) {
  static std::map<std::pair<uint32_t, uint32_t>, image> made;
  const auto [place, is_new] = made.try_emplace({file_type, shape});
  if (is_new) {
    dice dice(uint64_t{file_type} << 32 | shape);
    place->second = grow(file_type, dice);
  }
  return place->second;
}

image torn_append(uint32_t file_type, const image &file, dice &dice) {
  record_fields fields = random_record(file_type, dice);
  workshop workshop(file_type, &file);
  workshop.flash().cut_power_after(dice.one_in(2) ? dice.below(60) : dice.below(fields.len + 60u));
  workshop.log(fields);
  return workshop.file();
}

image torn_sweep(uint32_t file_type, const image &file, uint32_t mark, dice &dice) {
  workshop workshop(file_type, &file);
  workshop.flash().cut_power_after(dice.below(200));
  vesk_file_sanity[file_type] = mark;
  vesk_recover_corrupted_files();
  return workshop.file();
}

}  // namespace vesk::test
