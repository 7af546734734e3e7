#include "tests/support/files.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace vesk::test {

namespace fs = std::filesystem;

// By a call that no fault plan counts: in a program that is linked statically, it counts also those
// that the C++ library makes.
bool exists(const std::string &path) {
  return access(path.c_str(), F_OK) == 0;
}

std::string contents_of(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<uint8_t> read_file(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void write_file(const std::string &path, const std::vector<uint8_t> &content) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char *>(content.data()),
             static_cast<std::streamsize>(content.size()));
}

void empty_directory(const std::string &path) {
  fs::create_directories(path);
  for (const auto &entry : fs::directory_iterator(path)) fs::remove_all(entry.path());
}

scratch_directory::scratch_directory() : path_("/tmp/scratch-XXXXXX") {
  if (!mkdtemp(path_.data())) throw std::runtime_error("cannot make " + path_);
}

scratch_directory::~scratch_directory() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string scratch_directory::operator/(std::string_view name) const {
  return path_ + "/" + std::string(name);
}

bool without_mounts() {
  const char *way = std::getenv("VESK_ROOT_WAY");
  return way != nullptr && std::string_view(way) == "chroot";
}

bool left_out_here(const std::string &program) {
  return without_mounts() && !exists(program);
}

}  // namespace vesk::test
