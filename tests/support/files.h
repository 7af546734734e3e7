// Files and directories as tests make and look at them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::test {

bool exists(const std::string &path);

// The whole of a file; empty when there is none.
std::string contents_of(const std::string &path);

// The same as bytes, and the way back.
std::vector<uint8_t> read_file(const std::string &path);
void write_file(const std::string &path, const std::vector<uint8_t> &content);

// Makes the directory where it is missing, and takes everything out of it.
void empty_directory(const std::string &path);

// A new directory, removed with all that is in it.
class scratch_directory {
 public:
  scratch_directory();
  ~scratch_directory();
  scratch_directory(const scratch_directory &) = delete;
  scratch_directory &operator=(const scratch_directory &) = delete;

  const std::string &path() const { return path_; }
  std::string operator/(std::string_view name) const;

 private:
  std::string path_;
};

// Whether this private root is one of copies, in which nothing can be mounted.
bool without_mounts();

// Whether the program is absent for a reason: such a root holds only copies of what the daemon
// needs. Elsewhere a program that is not installed makes its tests fail.
bool left_out_here(const std::string &program);

}  // namespace vesk::test
