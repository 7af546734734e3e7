#include "tests/fuzz/image_input.h"

#include <algorithm>
#include <array>

namespace vesk::test {

namespace {

constexpr std::array steps{opening::start, opening::restart, opening::sweep_1, opening::sweep_2,
                           opening::sweep_3};
// The smallest; a kernel log; one in which sizes need more than 16 bits.
constexpr std::array<uint16_t, 3> file_types{7, 21, 6};

constexpr uint32_t choices = steps.size() * file_types.size();
constexpr uint32_t record_choices = 17;
static_assert(choices * record_choices == 255);

record_fields record_of_choice(uint16_t file_type, uint32_t choice) {
  constexpr std::array<uint16_t, 4> lengths{1, 40, 900,
                                            8128};  // the last is the smallest's largest
  record_fields fields{.type = 1025, .len = lengths[choice % 4], .file_type = file_type};
  fields.update = (choice & 4) != 0 ? 1 : 0;
  fields.sync = (choice & 8) != 0 ? 2 : 0;
  fields.instance = choice == 16 ? 2 : 0;
  return fields;
}

}  // namespace

trial trial_of_input(std::span<const uint8_t> input) {
  const uint32_t first = input.empty() ? 0 : input[0];
  const uint16_t file_type = file_types[first / steps.size() % file_types.size()];
  const uint32_t records = first / choices;
  return {.file_type = file_type,
          .first_step = steps[first % steps.size()],
          .file = input.empty() ? image() : image(input.begin() + 1, input.end()),
          .first = record_of_choice(file_type, records),
          .second = record_of_choice(file_type, records ^ 5)};
}

uint8_t first_byte_for(opening first_step, uint32_t file_type, uint32_t records) {
  const auto step = std::find(steps.begin(), steps.end(), first_step) - steps.begin();
  const auto found = std::find(file_types.begin(), file_types.end(), file_type);
  const auto type = found == file_types.end() ? 0 : found - file_types.begin();
  return static_cast<uint8_t>(step + type * static_cast<int64_t>(steps.size()) +
                              records % record_choices * choices);
}

}  // namespace vesk::test
