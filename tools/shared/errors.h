// What went wrong, in words for a person.
#pragma once

#include <string>

namespace vesk::shared {

// Nothing, or why something could not be done. A call that may fail reads
//
//   if (failure why = write_new_file(path, content)) return why;
struct [[nodiscard]] failure {
  std::string reason = {};  // empty: nothing went wrong

  explicit operator bool() const { return !reason.empty(); }
};

// "No such file or directory", for ENOENT.
std::string errno_text(int error);

}  // namespace vesk::shared
