// What went wrong, in words for a person.
#pragma once

#include <string>
#include <system_error>

namespace vesk {

// Nothing, or why something could not be done. A call that may fail reads
//
//   if (failure why = write_new_file(path, content)) return why;
struct [[nodiscard]] failure {
  std::string reason = {};  // empty: nothing went wrong

  explicit operator bool() const { return !reason.empty(); }
};

// "No such file or directory", for ENOENT.
[[nodiscard]] inline std::string errno_text(int error) {
  return std::generic_category().message(error);
}

}  // namespace vesk
