#include "tests/faults/ending.h"

namespace vesk::test {

std::string as_text(const ending &ending) {
  std::string text = "= " + std::to_string(ending.result);
  const auto tell_files = [&](const char *what, const std::vector<std::string> &paths) {
    for (const std::string &path : paths) text += what + path.substr(path.rfind('/') + 1);
  };
  if (ending.code != 0) text += ", code " + std::to_string(ending.code);
  if (ending.counted) text += ", counted";
  if (ending.cleared) text += ", cleared";
  tell_files(", made ", ending.made);
  tell_files(", gone ", ending.removed);
  for (const auto &[file_type, mark] : ending.marks) {
    text += ", marked " + std::to_string(file_type) + ": " + std::to_string(mark);
  }
  tell_files(", open ", ending.open);
  if (ending.no_directory) text += ", no directory";
  if (ending.up_failures != 0) {
    text += ", UP failed " + std::to_string(ending.up_failures) + " times";
  }
  return text;
}

}  // namespace vesk::test
