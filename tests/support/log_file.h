// A log file under test, and what it looks like.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vesk::test {

// The live entries from start to end, each as what it is:
//   E1024/40   an entry of type 1024 with 40 bytes of data and padding
//   N/4        a null entry of 4 bytes
//   !E1024/40  the same, but the sum of its header does not hold
//   ~24        24 bytes in which no header begins
//   |          here the walk came to the end of the ring and went on at offset 20
// and then the global header: "start=20 end=120", behind a "!" when it does not hold. A chain
// that does not lead to the end ends in "...".
std::string picture_of(std::span<const uint8_t> file);

// Opens an existing file for reading and writing, and removes it in the end.
class log_file {
 public:
  explicit log_file(std::string path);
  log_file(log_file &&other) noexcept;
  log_file &operator=(log_file &&) = delete;
  ~log_file();

  int32_t fd() const { return fd_; }
  const std::string &path() const { return path_; }
  uint32_t size() const;

  // Makes the file this long, with a hole at its end. False where the file offsets of this machine
  // are too short for that.
  [[nodiscard]] bool extend_to(uint64_t size) const;

  std::vector<uint8_t> bytes() const;
  // `count` bytes from `offset` on, in words of four: "00 4d 04 00  00 08 46 8e".
  std::string hex(uint32_t offset, uint32_t count) const;
  // The same bytes as text.
  std::string text(uint32_t offset, uint32_t count) const;

  std::string picture() const { return picture_of(bytes()); }

 private:
  std::string path_;
  int32_t fd_;
};

}  // namespace vesk::test
