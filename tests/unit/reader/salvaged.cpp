#include "tests/unit/reader/salvaged.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

namespace vesk::test {

namespace {

std::string text(uint64_t number) {
  return std::to_string(number);
}

std::string as_text(const salvaged_entry &found) {
  const std::string size =
      found.whole() ? text(found.size) : text(found.entry.data.size()) + " of " + text(found.size);
  return text(found.offset) + ":" + text(found.entry.uuid) + "/" + text(found.entry.type) + "/" +
         size + "=" + std::string(certainty_name(found.level));
}

std::string as_text(const salvaged_gheader &found) {
  const ring_state &ring = found.state;
  return text(found.offset) + ":ring " + text(ring.max) + "/" + text(ring.start) + "/" +
         text(ring.end);
}

std::string as_text(const unreadable_stretch &found) {
  return text(found.offset) + "-" + text(found.end) + ":unreadable";
}

}  // namespace

std::string all_of(salvage search) {
  std::string seen;
  while (const auto found = search.next()) {
    if (!seen.empty()) seen += " ";
    seen += std::visit([](const auto &what) { return as_text(what); }, *found);
  }
  return seen;
}

std::string salvaged_from(const std::string &file, uint32_t capacity) {
  return all_of(salvage({reinterpret_cast<const uint8_t *>(file.data()), file.size()}, capacity));
}

std::string salvaged_in_pieces(const std::string &path) {
  const int fd = open(path.c_str(), O_RDONLY);
  const std::string seen = all_of(salvage(fd, std::filesystem::file_size(path)));
  close(fd);
  return seen;
}

}  // namespace vesk::test
