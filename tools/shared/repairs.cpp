#include "tools/shared/repairs.h"

#include <vector>

#include "reader/vesk_ring_image.h"

namespace vesk::shared {

namespace {

constexpr uint32_t no_type = UINT32_MAX;

failure find_type_that_ends_repairs(const std::string &directory, uint32_t &ret_type) {
  ret_type = no_type;
  std::vector<uint8_t> image;
  for (const uint32_t type : {VESK_KERNEL_LOG, VESK_KERNEL_BIG_LOG}) {
    const vesk_catalogue_row &row = *find_file(type);
    if (read_ring_image(directory + row.name, row.max_size, image)) continue;
    file_forecast predicted;
    if (failure why = forecast(type, image, false, predicted)) return why;
    if (!predicted.ends_repairs) continue;
    ret_type = type;
    return {};
  }
  return {};
}

}  // namespace

failure repairs_end::predict(const log_file &file, ring_bytes image, file_forecast &ret_predicted) {
  const uint32_t type = type_of(file);
  uint32_t end = no_type;
  if (type > VESK_KERNEL_LOG) {
    const std::string directory = directory_of(file.path);
    if (const auto known = known_.find(directory); known != known_.end()) {
      end = known->second;
    } else if (failure why = find_type_that_ends_repairs(directory, end)) {
      return why;
    }
    known_[directory] = end;
  }
  return forecast(type, image, end < type, ret_predicted);
}

}  // namespace vesk::shared
