#include "tools/veskctl/lines.h"

namespace vesk::veskctl {

line_read read_line(std::FILE *stream, size_t limit, std::string &line) {
  line.clear();
  auto found = line_read::end;
  for (int c = getc_unlocked(stream); c != EOF; c = getc_unlocked(stream)) {
    if (found == line_read::end) found = line_read::whole;
    if (c == '\n') break;
    if (line.size() == limit) {
      found = line_read::too_long;
    } else {
      line += static_cast<char>(c);
    }
  }
  return found;
}

}  // namespace vesk::veskctl
