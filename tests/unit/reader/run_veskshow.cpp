#include "tests/unit/reader/run_veskshow.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "tests/unit/reader/file_bytes.h"

namespace vesk::test {

namespace {

std::string content(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

[[noreturn]] void become_veskshow(const std::vector<std::string> &arguments,
                                  const std::string &directory, const scratch_directory &files) {
  const std::string program = std::string(std::getenv("VESK_BIN_DIR")) + "/veskshow";
  std::vector<char *> argv = {const_cast<char *>("veskshow")};
  for (const auto &argument : arguments) argv.push_back(const_cast<char *>(argument.c_str()));
  argv.push_back(nullptr);

  ::setenv("TZ", "EAST-2", 1);
  ::dup2(::open((files / "out").c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
  ::dup2(::open((files / "err").c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
  if (::chdir(directory.c_str()) == 0) ::execv(program.c_str(), argv.data());
  std::_Exit(127);
}

}  // namespace

shown veskshow(const std::vector<std::string> &arguments, const std::string &directory) {
  const scratch_directory files;
  const pid_t child = ::fork();
  if (child == 0) become_veskshow(arguments, directory, files);
  int status = 0;
  ::waitpid(child, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), content(files / "out"),
          content(files / "err")};
}

}  // namespace vesk::test
