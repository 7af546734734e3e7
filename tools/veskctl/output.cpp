#include "tools/veskctl/output.h"

#include <cstdio>

#include "format/vesk_catalogue.h"
#include "tools/shared/text.h"
#include "tools/shared/time.h"

namespace vesk::veskctl {

void complain(const std::string &text) {
  std::fprintf(stderr, "veskctl: %s\n", text.c_str());
}

int status_of(const failure &why) {
  if (!why) return 0;
  complain(why.reason);
  return 1;
}

std::string file_label(uint32_t file_type) {
  const vesk_catalogue_row *row = find_file(file_type);
  return row != nullptr ? std::string(row->name) + " (" + std::to_string(file_type) + ")"
                        : "file type " + std::to_string(file_type);
}

std::string time_text(uint32_t secs, uint32_t usecs) {
  std::string text;
  shared::append_date_time(text, secs, shared::time_zone::local);
  shared::append_usecs(text, usecs);
  return text;
}

std::string printable(std::string_view text) {
  const size_t end = text.find_last_not_of(std::string_view(" \n\0", 3));
  return shared::safely(text.substr(0, end + 1));
}

}  // namespace vesk::veskctl
