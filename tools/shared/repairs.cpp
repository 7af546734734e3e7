#include "tools/shared/repairs.h"

#include <vector>

#include "forecast/vesk_forecast.h"
#include "reader/vesk_ring_image.h"

namespace vesk::shared {

namespace {

constexpr uint32_t no_type = UINT32_MAX;

std::string directory_of(const log_file &file) {
  return file.path.substr(0, file.path.rfind('/') + 1);
}

uint32_t type_that_ends_repairs(const std::string &directory) {
  std::vector<uint8_t> image;
  for (const uint32_t type : {VESK_KERNEL_LOG, VESK_KERNEL_BIG_LOG}) {
    const vesk_catalogue_row &row = *find_file(type);
    if (read_ring_image(directory + row.name, row.max_size, image)) continue;
    if (forecast(type, image, false).ends_repairs) return type;
  }
  return no_type;
}

}  // namespace

bool repairs_end::before(const log_file &file) {
  if (!file.row || file.row->file_type() <= VESK_KERNEL_LOG) return false;
  const std::string directory = directory_of(file);
  const auto [known, is_new] = known_.try_emplace(directory, no_type);
  if (is_new) known->second = type_that_ends_repairs(directory);
  return known->second < file.row->file_type();
}

}  // namespace vesk::shared
