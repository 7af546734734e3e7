#include "tests/support/process_usage.h"

#include <filesystem>
#include <string>
#include <string_view>

#include "tests/support/files.h"
#include "tests/support/text.h"

namespace vesk::test {

namespace {

namespace fs = std::filesystem;

long number_behind(std::string_view name, const std::string &status) {
  for (const auto &line : lines_of(status)) {
    if (line.starts_with(name)) return std::stol(line.substr(name.size()));
  }
  return 0;
}

}  // namespace

std::optional<process_usage> usage_of(pid_t process) {
  const std::string directory = "/proc/" + std::to_string(process);
  const std::string status = contents_of(directory + "/status");
  std::error_code failed;
  const fs::directory_iterator open_files(directory + "/fd", failed);
  if (status.empty() || failed) return {};
  return process_usage{.resident_kib = number_behind("VmRSS:", status),
                       .data_kib = number_behind("VmData:", status),
                       .descriptors = std::distance(begin(open_files), end(open_files))};
}

}  // namespace vesk::test
