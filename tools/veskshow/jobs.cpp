#include "tools/veskshow/jobs.h"

#include "reader/vesk_ring_image.h"

namespace vesk::veskshow {

bool read_image(const shared::log_file &file, std::vector<uint8_t> &ret_image, output &out) {
  const failure why = read_ring_image(file.path, shared::capacity_of(file), ret_image);
  if (why) out.problem(file.path, why.reason);
  return !why;
}

shown_entry entry_in(const shared::log_file &file, const ring_entry &entry) {
  shown_entry shown;
  shown.entry = entry;
  shown.file = file.row ? file.row->name : std::string_view(file.path);
  shown.file_type = shared::type_of(file);
  return shown;
}

}  // namespace vesk::veskshow
