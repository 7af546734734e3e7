#include "tests/unit/tools/veskshow/other_program.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string_view>

#include "tests/support/file_bytes.h"

namespace vesk::test {

namespace {

std::string content(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

program_result run_shell(const std::string &line, const std::string &input) {
  const scratch_directory directory;
  std::ofstream(directory / "in", std::ios::binary) << input;
  const std::string whole = "cd " + directory.path() + " && { " + line + "; } <in >out 2>err";
  const int status = std::system(whole.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), content(directory / "out"),
          content(directory / "err")};
}

bool left_out_here(const std::string &program) {
  const char *way = std::getenv("VESK_ROOT_WAY");
  return way && std::string_view(way) == "chroot" && access(program.c_str(), X_OK) != 0;
}

}  // namespace vesk::test
